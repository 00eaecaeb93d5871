// Which days are looked at: a day, a week, a month, backwards from its last day. Part of the page's address.

import {field, h, refill, select} from './dom.js';
import {addDays, dayOf, wallMs} from './format.js';
import {t} from './texts.js';

const Days = {day: 1, week: 7, month: 30};

export class RangeChoice {
    /// `change(parameters)` when the reader has chosen.
    constructor(parameters, spans, change) {
        this.spans = spans;
        this.change = change;
        this.element = h('div.range');
        this.today = '';
        this.take(parameters);
    }

    take({span, to}) {
        this.span = this.spans.includes(span) ? span : this.spans.includes('week') ? 'week' : this.spans[0];
        this.to = Number.isNaN(wallMs(to)) ? '' : to.slice(0, 10);
        this.draw();
    }

    /// True when it is another range.
    set(parameters) {
        const before = `${this.span} ${this.to}`;
        this.take(parameters);
        return before !== `${this.span} ${this.to}`;
    }

    setNow(now) {
        const today = dayOf(wallMs(now));
        if (today === this.today)
            return;
        this.today = today;
        this.draw();
    }

    get last() {
        return this.to || this.today;
    }

    get first() {
        return addDays(this.last, 1 - Days[this.span]);
    }

    parameters() {
        return {span: this.span, to: this.to};
    }

    /// Both days are part of it.
    query() {
        return {from: this.first, to: this.last};
    }

    draw() {
        const choose = (span, to) => this.change({span, to: to && to < this.today ? to : ''});
        const step = days => choose(this.span, addDays(this.last, days));
        refill(this.element,
            field(t('range.span'), select(this.spans.map(span => [span, t(`range.${span}`)]), this.span,
                {onchange: event => choose(event.target.value, this.to)})),
            h('div.days', h('button', {type: 'button', 'aria-label': t('range.earlier'), title: t('range.earlier'), disabled: !this.today,
                onclick: () => step(-Days[this.span])}, '‹'),
            field(t('range.last'), h('input', {type: 'date', value: this.last, max: this.today,
                onchange: event => event.target.value && choose(this.span, event.target.value)})),
            h('button', {type: 'button', 'aria-label': t('range.later'), title: t('range.later'), disabled: !this.to,
                onclick: () => step(Days[this.span])}, '›')));
    }
}
