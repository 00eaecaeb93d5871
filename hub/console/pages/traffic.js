// Live: what passes on the modem's and the substation meter's line, in words beside the bytes.

import {listen} from '../api.js';
import {save} from '../download.js';
import {field, fill, h, refill, select} from '../dom.js';
import {number} from '../format.js';
import {errorWords} from '../problems.js';
import {t, words} from '../texts.js';
import {Recording, recordingText} from '../recording.js';

const MostShown = 300;

export function show(root) {
    return new Traffic(root);
}

class Traffic {
    constructor(root) {
        this.recording = new Recording();
        this.filter = {node: '', kind: '', withLog: true};
        this.kinds = new Set();
        this.waiting = [];
        this.isPaused = false;
        this.link = h('p.quiet', {role: 'status'}, t('traffic.connecting'));
        this.controls = h('div.controls');
        this.count = h('span.quiet');
        // Not a live region: some ten lines a second would drown all else that a screen reader says.
        this.list = h('ol.traffic', {'aria-label': t('page.traffic'), tabindex: 0});
        fill(root, this.controls, h('div.row', this.link, this.count), this.list);
        this.drawControls();
        this.stop = listen(['traffic', 'log', 'sweep', 'link', 'command'], (kind, data) => this.take(kind, data), (isOpen, error) => {
            fill(this.link, isOpen ? t('traffic.live') : error ? errorWords(error) : t('traffic.connecting'));
        });
    }

    close() {
        this.stop();
    }

    drawControls() {
        refill(this.controls,
            field(t('traffic.node'), this.nodeInput ??= h('input', {type: 'search', spellcheck: 'false', placeholder: 'UIN', autocomplete: 'off',
                oninput: event => { this.filter.node = event.target.value.trim().toUpperCase(); this.redraw(); }})),
            field(t('traffic.kind'), select([['', t('traffic.all')], ...[...this.kinds].sort().map(kind => [kind, words('kind', kind)])],
                this.filter.kind, {onchange: event => { this.filter.kind = event.target.value; this.redraw(); }})),
            h('label.tick', h('input', {type: 'checkbox', checked: this.filter.withLog,
                onchange: event => { this.filter.withLog = event.target.checked; this.redraw(); }}), t('traffic.withLog')),
            h('button', {type: 'button', 'aria-pressed': String(this.isPaused), onclick: () => this.pause()}, t('traffic.pause')),
            h('button', {type: 'button', onclick: () => this.download()}, t('traffic.download')));
    }

    take(kind, data) {
        const entry = this.recording.add(kind, data);
        const before = this.kinds.size;
        for (const {kind: one} of entry.lines)
            this.kinds.add(one);
        if (this.kinds.size !== before)
            this.drawControls();
        if (!this.isPaused)
            this.later(entry);
        this.tellCount();
    }

    /// Many events may come within one frame: they are shown together.
    later(entry) {
        this.waiting.push(entry);
        if (this.waiting.length > MostShown)
            this.waiting.shift();
        if (this.willShow)
            return;
        this.willShow = true;
        setTimeout(() => {
            this.willShow = false;
            this.showEntries(this.waiting.splice(0));
        }, 100);
    }

    showEntries(entries) {
        const isAtEnd = this.list.scrollTop + this.list.clientHeight > this.list.scrollHeight - 40;
        this.list.append(...entries.filter(entry => this.fits(entry)).map(entry => this.item(entry)));
        while (this.list.childElementCount > MostShown)
            this.list.firstChild.remove();
        if (isAtEnd)
            this.list.scrollTop = this.list.scrollHeight;
    }

    fits(entry) {
        const {node, kind, withLog} = this.filter;
        if (entry.event !== 'traffic')
            return withLog && !kind && (!node || entry.text.toUpperCase().includes(node));
        return (!node && !kind) || entry.lines.some(line => this.fitsLine(line));
    }

    fitsLine({uin, kind, words}) {
        const wanted = this.filter;
        return (!wanted.kind || wanted.kind === kind)
            && (!wanted.node || uin.toUpperCase().includes(wanted.node) || words.toUpperCase().includes(wanted.node));
    }

    item(entry) {
        const time = h('time', entry.at.slice(11, 19));
        if (entry.event !== 'traffic')
            return h('li.log', time, h('span.port', words('event', entry.event)), h('span.words', entry.text));
        return h('li', time, h('span.port', words('port', entry.port)),
            h('span.words', entry.lines.filter(line => this.fitsLine(line)).map(line => h('span.line', h('span.kind', words('kind', line.kind)),
                line.uin && h('span.uin', line.uin), ` ${line.words}`))),
            h('code.bytes', entry.shown));
    }

    redraw() {
        fill(this.list);
        this.waiting = [];
        this.showEntries(this.recording.entries.filter(entry => this.fits(entry)).slice(-MostShown));
        this.list.scrollTop = this.list.scrollHeight;
    }

    pause() {
        this.isPaused = !this.isPaused;
        this.drawControls();
        if (!this.isPaused)
            this.redraw();
        this.tellCount();
    }

    tellCount() {
        const {entries, dropped} = this.recording;
        this.count.textContent = [t('traffic.kept', {n: number(entries.length)}), dropped ? t('traffic.dropped', {n: number(dropped)}) : '',
            this.isPaused ? t('traffic.paused') : ''].filter(Boolean).join(' · ');
    }

    download() {
        const begin = this.recording.entries[0]?.at.slice(0, 19).replaceAll(':', '-') ?? 'empty';
        save(`traffic-${begin}.txt`, 'text/plain;charset=us-ascii', recordingText(this.recording.entries));
    }
}
