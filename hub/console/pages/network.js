// The radio nodes: when each was heard last, and what went wrong on the way in a day.

import {get} from '../api.js';
import {fill, h, refill, table} from '../dom.js';
import {number, since, when} from '../format.js';
import {meterLink} from '../meters.js';
import {Loader} from '../problems.js';
import {t} from '../texts.js';

const Refresh = 30; // seconds

export function show(root, parameters, app) {
    const trouble = h('div'), summary = h('p'), unknown = h('section'), known = h('section');
    fill(root, trouble, summary, unknown, known);
    const orders = {known: {sortedBy: 2}, unknown: {sortedBy: 1}};
    return new Loader(trouble, async signal => {
        const [{now}, {nodes}] = await Promise.all([get('status', {}, signal), get('nodes', {}, signal)]);
        const strangers = nodes.filter(node => !node.inRegister), ours = nodes.filter(node => node.inRegister);
        fill(summary, t('network.summary', {nodes: ours.length, quiet: ours.filter(node => !heardAt(node)).length, unknown: strangers.length}));
        refill(unknown, strangers.length > 0 && [h('h2', t('network.unknown')), h('p', t('network.unknownAbout')),
            nodeTable(t('network.unknown'), strangers, now, orders.unknown, app)]);
        refill(known, h('h2', t('network.known')), ours.length ? nodeTable(t('network.known'), ours, now, orders.known, app) : h('p.quiet', t('network.none')));
    }, {seconds: Refresh, kinds: ['sweep']});
}

/// The hub hears nodes while somebody watches the traffic; a reading says the same.
function heardAt({heard, lastReading}) {
    return [heard, lastReading].filter(Boolean).sort().at(-1);
}

function nodeTable(caption, nodes, now, order, app) {
    const count = (words, key) => ({words, number: true, sort: node => node[key] ?? null,
        cell: node => h('span', {class: node[key] ? 'some' : null}, number(node[key]))});
    const isKnown = nodes.some(node => node.inRegister);
    return table(caption, [
        {words: t('network.node'), cell: node => node.uin, sort: node => node.uin},
        isKnown && {words: t('meter'), cell: node => meterLink(app, {globalId: node.globalId}), sort: node => node.globalId},
        {words: t('network.heard'), time: true, sort: node => heardAt(node) || '0',
            cell: node => heardAt(node) ? t('ago', {time: since(heardAt(node), now)}) : t('network.notHeard')},
        isKnown && {words: t('failing.lastReading'), time: true, cell: node => when(node.lastReading, now), sort: node => node.lastReading ?? '0'},
        isKnown && count(t('network.undelivered'), 'undelivered24h'),
        isKnown && count(t('network.silent'), 'silent24h'),
        isKnown && count(t('network.late'), 'late24h'),
    ].filter(Boolean), nodes, order);
}
