// The live events of this visit, as many as fit, and the form in which the virtual substation can play them again.

const MostEntries = 5000;
const MostBytes = 4 << 20; // of lines, in hexadecimal digits and characters

export class Recording {
    constructor() {
        this.entries = [];
        this.bytes = 0;
        this.dropped = 0;
    }

    /// Returns the entry: {event, at, port, hex, shown, lines: [{uin, kind, words}], text, size}
    add(event, data) {
        const lines = (data.lines ?? []).map(({uin, kind, words}) => ({uin: uin ?? '', kind: kind ?? '', words: words ?? ''}));
        const hex = event === 'traffic' ? data.bytes ?? '' : '';
        const entry = {event, at: data.at ?? '', port: data.port ?? '', hex, lines, shown: hex && readable(hex),
            text: event === 'traffic' ? lines.map(line => line.words).join(' ') : eventText(data)};
        entry.size = hex.length + entry.text.length;
        this.entries.push(entry);
        this.bytes += entry.size;
        while (this.entries.length > MostEntries || (this.bytes > MostBytes && this.entries.length > 1)) {
            this.bytes -= this.entries.shift().size;
            ++this.dropped;
        }
        return entry;
    }
}

/// What the hub says of other events than traffic: its text, or all its values.
function eventText({at, controller, ...values}) {
    return typeof values.text === 'string' ? values.text
        : Object.entries(values).map(([name, value]) => `${name}: ${typeof value === 'object' ? JSON.stringify(value) : value}`).join(', ');
}

function octets(hex) {
    return hex.match(/../g)?.map(pair => parseInt(pair, 16)) ?? [];
}

/// Printable ASCII as it is, the rest as \r, \n, \xHH.
function readable(hex) {
    const named = {10: '\\n', 13: '\\r', 92: '\\\\'};
    return octets(hex).map(byte => named[byte] ?? (byte >= 32 && byte < 127 ? String.fromCharCode(byte)
        : `\\x${byte.toString(16).padStart(2, '0').toUpperCase()}`)).join('');
}

/// Lines that `ravelin-sim --replay` takes: what came from the modem. All else is a remark in it.
export function recordingText(entries) {
    const lines = entries.map(entry => {
        const time = entry.at.slice(0, 23).replace(/[Z+].*$/, '');
        if (entry.event === 'traffic' && entry.port === 'modem')
            return `${time} modem ${entry.shown.replace(/ $/, '\\x20')}`;
        const text = entry.event === 'traffic' ? `${entry.port} ${entry.shown}` : `${entry.event} ${entry.text}`;
        return `# ${time} ${text.replace(/[^\x20-\x7e]/g, c => `\\u{${c.codePointAt(0).toString(16)}}`)}`;
    });
    return lines.join('\n') + '\n';
}
