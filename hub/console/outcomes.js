// What became of a due reading: words and colour of each letter, and which one matters most where many share a pixel.

import {t} from './texts.js';
import {colour} from './theme.js';

/// From what matters least to what matters most. A key that is not here counts as most.
const Order = ['not_expected', 'read', 'late', 'not_stored', 'no_sweep', 'no_row', 'zero_row', 'no_reading', 'undecodable',
    'not_delivered', 'nothing_heard', 'substation_silent', 'unknown_status'];

const Keys = {'.': 'not_expected', r: 'read', l: 'late', u: 'undecodable', s: 'substation_silent', n: 'no_reading', d: 'not_delivered',
    h: 'nothing_heard', x: 'unknown_status', z: 'zero_row', k: 'not_stored', '-': 'no_row', _: 'no_sweep'};

/// `letters`: what each of them means, in the hub's words; for those that this page does not know.
export class Outcomes {
    constructor(letters) {
        this.letters = letters;
    }

    key(letter) {
        return Keys[letter] ?? 'unknown_status';
    }

    words(letter) {
        return letter in Keys ? t(`outcome.${this.key(letter)}`) : this.letters[letter] ?? letter;
    }

    weight(letter) {
        const place = Order.indexOf(this.key(letter));
        return place < 0 ? Order.length : place;
    }

    colour(letter) {
        return colour(`cell-${this.key(letter).replaceAll('_', '-')}`) || colour('cell-unknown-status');
    }

    isRead(letter) {
        return this.key(letter) === 'read' || this.key(letter) === 'late';
    }

    isExpected(letter) {
        return letter !== '.';
    }

    /// The letters that `counts` has, most important first.
    byWeight(counts) {
        return Object.keys(counts).filter(letter => letter !== '.').sort((a, b) => this.weight(b) - this.weight(a));
    }
}

/// [red, green, blue] of "#rrggbb".
export function parts(hex) {
    return [1, 3, 5].map(i => parseInt(hex.slice(i, i + 2), 16));
}

/// Black or white, whichever can be read on `hex`.
export function inkOn(hex) {
    const [r, g, b] = parts(hex).map(v => v <= 10 ? v / 3294.6 : ((v / 255 + 0.055) / 1.055) ** 2.4);
    return 0.2126 * r + 0.7152 * g + 0.0722 * b > 0.179 ? '#000000' : '#ffffff';
}
