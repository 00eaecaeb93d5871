// Files for the reader's disk.

import {h} from './dom.js';

export function save(name, type, text) {
    const url = URL.createObjectURL(new Blob([text], {type}));
    const link = h('a', {href: url, download: name});
    document.body.append(link);
    link.click();
    link.remove();
    setTimeout(() => URL.revokeObjectURL(url), 10000);
}

/// A text that a spreadsheet would take for a formula begins with an apostrophe.
export function csv(rows) {
    return rows.map(row => row.map(value => {
        if (typeof value === 'number')
            return String(value);
        const text = String(value ?? '');
        const harmless = /^[=+\-@\t\r]/.test(text) ? `'${text}` : text;
        return /[",\r\n]/.test(harmless) ? `"${harmless.replaceAll('"', '""')}"` : harmless;
    }).join(',')).join('\r\n') + '\r\n';
}
