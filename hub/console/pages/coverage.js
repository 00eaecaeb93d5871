// A day, a week or a month: each meter a row, each due sweep a column.

import {get} from '../api.js';
import {csv, save} from '../download.js';
import {field, fill, h, refill, select, table} from '../dom.js';
import {number, percent, percentOf, when} from '../format.js';
import {Matrix} from '../matrix.js';
import {meterLink, meterName} from '../meters.js';
import {Outcomes} from '../outcomes.js';
import {Loader} from '../problems.js';
import {RangeChoice} from '../range.js';
import {t} from '../texts.js';

export function show(root, parameters, app) {
    return new Coverage(root, parameters, app);
}

class Coverage {
    constructor(root, parameters, app) {
        this.app = app;
        this.places = {trouble: h('div'), controls: h('div.controls'), legend: h('div'), matrix: h('div'), summary: h('p'), list: h('div')};
        const {trouble, controls, legend, matrix, summary, list} = this.places;
        fill(root, controls, trouble, summary, legend, matrix, list);
        this.range = new RangeChoice(parameters, ['day', 'week', 'month'], range => app.go('coverage', {...range, ...this.view()}));
        this.setView(parameters);
        this.loader = new Loader(trouble, signal => this.load(signal), {seconds: 60, kinds: ['sweep']});
    }

    update(parameters) {
        this.setView(parameters);
        if (this.range.set(parameters))
            this.loader.again();
        else if (this.data)
            this.draw();
    }

    close() {
        this.loader.close();
        this.matrix?.close();
    }

    setView({order = 'register', only = ''}) {
        this.order = order;
        this.only = only;
        const change = more => this.app.go('coverage', {...this.range.parameters(), ...this.view(), ...more}, {replace: true});
        const tick = h('input', {type: 'checkbox', checked: only === 'gaps', onchange: event => change({only: event.target.checked ? 'gaps' : ''})});
        refill(this.places.controls, this.range.element,
            field(t('coverage.order'), select([['register', t('coverage.byRegister')], ['worst', t('coverage.byWorst')]], order,
                {onchange: event => change({order: event.target.value})})),
            h('label.tick', tick, t('coverage.only')),
            h('button', {type: 'button', onclick: () => this.download()}, t('csv')));
    }

    view() {
        return {order: this.order === 'register' ? '' : this.order, only: this.only};
    }

    async load(signal) {
        const [{now}, {meters}] = await Promise.all([get('status', {}, signal), get('meters', {}, signal)]);
        this.range.setNow(now);
        const answer = await get('sweeps', this.range.query(), signal);
        const text = JSON.stringify(answer);
        if (text === this.drawn) // whoever looks at a cell goes on looking at it
            return;
        this.drawn = text;
        const byId = new Map(meters.map(meter => [meter.globalId, meter]));
        this.data = {...answer, sweeps: answer.sweeps.filter(sweep => sweep.outcomes), outcomes: new Outcomes(answer.letters)};
        this.data.rows = answer.meters.map((globalId, place) => this.rowOf(byId.get(globalId) ?? {globalId}, place));
        this.draw();
    }

    rowOf(meter, place) {
        const counts = {};
        for (const {outcomes} of this.data.sweeps)
            counts[outcomes[place] ?? '.'] = (counts[outcomes[place] ?? '.'] ?? 0) + 1;
        let due = 0, read = 0;
        for (const [letter, n] of Object.entries(counts)) {
            due += this.data.outcomes.isExpected(letter) ? n : 0;
            read += this.data.outcomes.isRead(letter) ? n : 0;
        }
        return {meter, place, counts, due, read};
    }

    chosenRows() {
        const rows = this.data.rows.filter(row => this.only !== 'gaps' || row.read < row.due);
        return this.order === 'worst' ? rows.sort((a, b) => a.read / (a.due || 1) - b.read / (b.due || 1)) : rows;
    }

    draw() {
        const begun = performance.now();
        const rows = this.chosenRows();
        const sum = rows.reduce((all, row) => ({due: all.due + row.due, read: all.read + row.read}), {due: 0, read: 0});
        fill(this.places.summary, t('coverage.summary', {read: number(sum.read), due: number(sum.due),
            share: percent(percentOf(sum.read, sum.due)), meters: rows.length, sweeps: this.data.sweeps.length}));
        this.drawLegend(rows);
        const model = this.model(rows);
        if (!rows.length || !this.data.sweeps.length) {
            this.matrix?.close();
            this.matrix = null;
            fill(this.places.matrix, h('p.quiet', this.data.sweeps.length ? t('coverage.noGaps') : t('coverage.noSweeps')));
        } else if (this.matrix) {
            this.matrix.update(model);
        } else {
            this.matrix = new Matrix(this.places.matrix, model, t('coverage.matrix'));
        }
        performance.measure('coverage', {start: begun});
        this.drawList(rows);
    }

    model(rows) {
        const {sweeps, outcomes} = this.data;
        return {
            rows: rows.length, columns: sweeps.length, outcomes,
            at: (row, column) => sweeps[column].outcomes[rows[row].place] ?? '.',
            labelWidth: 205,
            label: (row, short) => short ? String(rows[row].meter.globalId) : meterName(rows[row].meter),
            mark: (column, width) => markOf(sweeps, column, width),
            tell: (row, column) => this.tell(rows[row], sweeps[column]),
            open: row => this.app.go('meter', {item: rows[row].meter.globalId, ...this.range.parameters()}),
            openWords: t('coverage.open'),
        };
    }

    tell({meter, place}, sweep) {
        const letter = sweep.outcomes[place] ?? '.';
        const stamps = sweep.stamps?.length ? t('coverage.swept', {time: sweep.stamps.map(stamp => when(stamp, sweep.due)).join(', ')}) : '';
        return [meterName(meter), when(sweep.due), `${letter}: ${this.data.outcomes.words(letter)}`, stamps].filter(Boolean).join(' — ');
    }

    drawLegend(rows) {
        const counts = {};
        for (const row of rows)
            for (const [letter, n] of Object.entries(row.counts))
                counts[letter] = (counts[letter] ?? 0) + n;
        const {outcomes} = this.data;
        fill(this.places.legend, h('ul.outcomes', {'aria-label': t('coverage.legend')}, outcomes.byWeight(counts).map(letter => h('li',
            h(`span.swatch.cell-${outcomes.key(letter).replaceAll('_', '-')}`, {'aria-hidden': 'true'}, letter),
            `${outcomes.words(letter)} `, h('b', number(counts[letter]))))));
    }

    /// The same for who cannot see the canvas, and for who wants figures.
    drawList(rows) {
        const {outcomes} = this.data;
        const wasOpen = this.places.list.querySelector('details')?.open;
        const details = h('details', {open: wasOpen, ontoggle: () => details.open && fillIt()}, h('summary', t('coverage.table')));
        const fillIt = () => details.children.length < 2 && details.append(table(t('coverage.table'), [
            {words: t('meter'), cell: row => meterLink(this.app, row.meter), sort: row => row.meter.globalId},
            {words: t('due'), number: true, cell: row => number(row.due), sort: row => row.due},
            {words: t('read'), number: true, cell: row => number(row.read), sort: row => row.read},
            {words: '%', number: true, cell: row => number(percentOf(row.read, row.due), 1), sort: row => percentOf(row.read, row.due)},
            {words: t('why'), cell: row => outcomes.byWeight(row.counts).filter(letter => !outcomes.isRead(letter))
                .map(letter => `${outcomes.words(letter)}: ${row.counts[letter]}`).join('; ')},
        ], rows));
        fill(this.places.list, details);
        if (wasOpen)
            fillIt();
    }

    download() {
        if (!this.data)
            return;
        const {sweeps, outcomes, from, to} = this.data;
        const rows = this.chosenRows();
        const lines = sweeps.flatMap(sweep => rows.filter(row => outcomes.isExpected(sweep.outcomes[row.place] ?? '.')).map(row => [
            row.meter.globalId, row.meter.uin, row.meter.model, sweep.due, outcomes.key(sweep.outcomes[row.place])]));
        save(`coverage-${String(from).slice(0, 10)}-${String(to).slice(0, 10)}.csv`, 'text/csv;charset=utf-8',
            csv([['global_id', 'uin', 'model', 'due', 'outcome'], ...lines]));
    }
}

/// Above the first column of a day its date; where columns are wide, hours too.
function markOf(sweeps, column, width) {
    const text = sweeps[column].due;
    const before = column ? sweeps[column - 1].due : '';
    if (text.slice(0, 10) !== before.slice(0, 10))
        return text.slice(5, 10);
    const isNewHour = text.slice(0, 13) !== before.slice(0, 13);
    return isNewHour && width >= 6 && +text.slice(11, 13) % (width >= 20 ? 1 : width >= 12 ? 3 : 6) === 0 ? text.slice(11, 16) : '';
}
