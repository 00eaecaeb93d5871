// Strange readings in words, in the reader's language; what this page does not know is told as the hub told it.

import {energy, when} from './format.js';
import {has, t} from './texts.js';

export function findingWords(finding) {
    const kind = finding.kind === 'went_back' && finding.isConfirmed === false ? 'went_back_once' : finding.kind;
    if (!has(`finding.${kind}`) || kind === 'number_changed')
        return finding.text;
    return t(`finding.${kind}`, {since: when(finding.since), until: when(finding.until), before: energy(finding.before),
        value: energy(finding.value), times: finding.times});
}
