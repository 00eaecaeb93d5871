// One meter: what it has used, how its clock goes, what became of each due reading, what is strange about it.

import {get, readings} from '../api.js';
import {csv, save} from '../download.js';
import {fill, h} from '../dom.js';
import {dayOf, energy, number, percent, percentOf, signed, wallMs, when} from '../format.js';
import {findingWords} from '../findings.js';
import {Matrix} from '../matrix.js';
import {meterName} from '../meters.js';
import {Outcomes} from '../outcomes.js';
import {Loader} from '../problems.js';
import {RangeChoice} from '../range.js';
import {t, words} from '../texts.js';
import {dayUse, halfHourUse} from '../use.js';

const Tariffs = [1, 2, 3, 4];
const Day = 86400000; // ms

export function show(root, parameters, app) {
    return new Meter(root, parameters, app);
}

/// The same number means another thing of the substation meter.
function statusWords(meter) {
    return meter.substation && meter.lastStatus === 1 ? t('outcome.substation_silent')
        : words('status', meter.lastStatus ?? 'none', meter.lastStatusText);
}

class Meter {
    constructor(root, parameters, app) {
        this.app = app;
        this.item = parameters.item;
        this.charts = [];
        this.places = {trouble: h('div'), controls: h('div.controls'), facts: h('section'), findings: h('section'), register: h('section'),
            halfHours: h('section'), days: h('section'), clock: h('section'), history: h('section')};
        const {trouble, controls, ...rest} = this.places;
        fill(root, controls, trouble, Object.values(rest));
        this.range = new RangeChoice(parameters, ['day', 'week', 'month'], range => app.go('meter', {item: this.item, ...range}));
        this.chooser = h('div');
        fill(controls, this.chooser, this.range.element, h('button', {type: 'button', onclick: () => this.download()}, t('csv')));
        this.loader = new Loader(trouble, signal => this.load(signal), {kinds: ['sweep']});
    }

    update(parameters) {
        this.item = parameters.item;
        this.range.set(parameters);
        this.loader.again();
    }

    close() {
        this.loader.close();
        this.forget();
    }

    forget() {
        this.charts.forEach(one => one.close());
        this.charts = [];
        this.matrix?.close();
        this.matrix = null;
    }

    async load(signal) {
        const [{now}, {meters}] = await Promise.all([get('status', {}, signal), get('meters', {}, signal)]);
        this.range.setNow(now);
        this.drawChooser(meters);
        const meter = meters.find(one => String(one.globalId) === this.item) ?? (this.item ? null : meters[0]);
        if (!meter) {
            this.forget();
            this.data = null;
            for (const name of ['findings', 'register', 'halfHours', 'days', 'clock', 'history'])
                fill(this.places[name]);
            fill(this.places.facts, h('p.error', t('meter.unknown', {id: this.item})));
            return;
        }
        const range = this.range.query();
        const [{chart}, history, clocks, sweeps, ledger] = await Promise.all([import('../charts.js'),
            readings({meter: meter.globalId, ...range}, signal), get('clocks', {meter: meter.globalId}, signal),
            get('sweeps', range, signal), get('ledger', range, signal)]);
        this.chart = chart;
        this.data = {meter, now, readings: history.readings, clocks, sweeps, findings: ledger.readings.filter(
            finding => finding.globalId === meter.globalId)};
        this.draw();
    }

    drawChooser(meters) {
        const options = meters.map(meter => h('option', {value: meter.globalId}, meterName(meter)));
        const input = h('input', {list: 'all-meters', value: this.item ?? '', autocomplete: 'off', inputmode: 'numeric', size: 10,
            onchange: event => this.choose(event.target.value.trim(), meters)});
        if (this.chooser.contains(document.activeElement))
            return;
        fill(this.chooser, h('label.field', h('span', t('meter.choose')), input), h('datalist', {id: 'all-meters'}, options));
    }

    choose(text, meters) {
        const found = meters.find(meter => [String(meter.globalId), meter.uin, meter.number].includes(text));
        this.app.go('meter', {item: found ? found.globalId : text, ...this.range.parameters()});
    }

    draw() {
        this.forget();
        this.drawFacts();
        this.drawFindings();
        this.drawEnergy();
        this.drawClock();
        this.drawHistory();
    }

    drawFacts() {
        const {meter, now} = this.data;
        const last = meter.lastReading;
        const counts = meter.counts;
        const facts = [
            [t('meter'), meterName(meter)],
            [t('meter.number'), meter.number],
            [t('meter.kind'), meter.inRegister === false ? t('meter.notInRegister') : meter.substation ? t('meter.substation') : t('meter.node')],
            [t('meter.lastReading'), last ? `${energy(last.energy[0])} ${t('kWh')} · ${when(last.at, now)}` : t('never')],
            [t('meter.lastStatus'), `${statusWords(meter)}${meter.lastAsked ? ` · ${when(meter.lastAsked, now)}` : ''}`],
            counts && [t('meter.coverage'), `${percent(percentOf(counts.read, counts.due))} · ${t('of', {n: number(counts.read), all: number(counts.due)})}`],
        ].filter(Boolean);
        fill(this.places.facts, h('dl.facts', facts.map(([name, value]) => h('div', h('dt', name), h('dd', value)))));
        document.title = `${meterName(meter)} – Ravelin`;
    }

    drawFindings() {
        const {findings} = this.data;
        fill(this.places.findings, h('h2', t('meter.findings')),
            findings.length ? h('ul.findings', findings.map(finding => h('li', findingWords(finding)))) : h('p.quiet', t('meter.noFindings')));
    }

    drawEnergy() {
        const rows = this.data.readings.map(reading => ({ms: wallMs(reading.at), energy: reading.energy}));
        const known = rows.filter(row => row.energy);
        if (known.length < 2) {
            for (const name of ['halfHours', 'days'])
                fill(this.places[name]);
            fill(this.places.register, h('h2', t('meter.register')), h('p.quiet', t('meter.noReadings')));
            return;
        }
        this.plot('register', t('meter.register'), {series: [{words: t('total'), colour: 's1', kind: 'line'}],
            rows: rows.map(row => [row.ms, row.energy ? row.energy[0] : null]), unit: t('kWh')});
        const {rows: use} = halfHourUse(known);
        this.plot('halfHours', t('meter.halfHours'), {rows: use, unit: t('kWh'), digits: 3,
            series: [{words: t('meter.measured'), colour: 's1', kind: 'step'}, {words: t('meter.spread'), colour: 's2', kind: 'step'}]});
        const tariffs = Tariffs.filter(tariff => known.some(row => row.energy[tariff] > 0));
        const columns = tariffs.length ? tariffs : [0];
        this.plot('days', tariffs.length ? t('meter.daysByTariff') : t('meter.days'), {rows: dayUse(known, columns), unit: t('kWh'),
            stacked: columns.length > 1, barSeconds: Day / 1000,
            series: columns.map(column => ({words: column ? t('tariff', {n: column}) : t('total'), colour: `s${column || 1}`, kind: 'bars'}))});
    }

    plot(place, name, options) {
        const host = h('div.chart');
        fill(this.places[place], h('h2', name), host);
        this.charts.push(this.chart(host, {name, window: place === 'clock' ? undefined
            : [wallMs(this.range.first), wallMs(this.range.last) + Day], ...options}));
    }

    drawClock() {
        const {clocks: {clocks, readings: asked = []}} = this.data;
        const clock = clocks[0];
        const place = this.places.clock;
        if (!clock || !asked.length) {
            fill(place, h('h2', t('meter.clock')), h('p.quiet', t('meter.noClock')));
            return;
        }
        const last = wallMs(clock.asked);
        const line = ms => typeof clock.driftSecondsPerDay === 'number'
            ? clock.offsetSeconds + clock.driftSecondsPerDay * (ms - last) / Day : null;
        this.plot('clock', t('meter.clock'), {digits: 1, unit: t('s'),
            rows: asked.filter(one => typeof one.offsetSeconds === 'number').map(one => [wallMs(one.asked), one.offsetSeconds, line(wallMs(one.asked))]),
            series: [{words: t('clocks.offset'), colour: 's1', kind: 'points'}, {words: t('clocks.drift'), colour: 's2', kind: 'dashed'}]});
        place.append(h('p', t('meter.clockNow', {offset: signed(clock.offsetSeconds, 0), time: when(clock.asked),
            drift: typeof clock.driftSecondsPerDay === 'number' ? signed(clock.driftSecondsPerDay, 2) : t('unknown')})));
    }

    /// A row a day, a column a due sweep.
    drawHistory() {
        const {meter, sweeps} = this.data;
        const place = sweeps.meters.indexOf(meter.globalId);
        const days = new Map();
        for (const sweep of sweeps.sweeps.filter(one => one.outcomes)) {
            const day = dayOf(wallMs(sweep.due));
            days.set(day, [...days.get(day) ?? [], sweep]);
        }
        const rows = [...days.values()].reverse();
        const longest = rows.reduce((a, b) => a.length >= b.length ? a : b, []);
        const host = h('div');
        fill(this.places.history, h('h2', t('meter.history')), place >= 0 && rows.length ? host : h('p.quiet', t('coverage.noSweeps')));
        if (place < 0 || !rows.length)
            return;
        // A day that began late, as the first one, is laid at the right times of the longest.
        const slots = longest.map(sweep => sweep.due.slice(11, 16));
        const table = rows.map(row => new Map(row.map(sweep => [sweep.due.slice(11, 16), sweep])));
        const outcomes = new Outcomes(sweeps.letters);
        const sweepAt = (row, column) => table[row].get(slots[column]);
        this.matrix = new Matrix(host, {
            rows: rows.length, columns: slots.length, outcomes,
            at: (row, column) => sweepAt(row, column)?.outcomes[place] ?? '.',
            labelWidth: 50,
            label: row => rows[row][0].due.slice(5, 10),
            mark: (column, width) => column % Math.max(1, Math.ceil(44 / width)) ? '' : slots[column],
            tell: (row, column) => {
                const letter = sweepAt(row, column)?.outcomes[place] ?? '.';
                return `${rows[row][0].due.slice(0, 10)} ${slots[column]} — ${letter}: ${outcomes.words(letter)}`;
            },
            open: null, openWords: '',
        }, t('meter.history'));
    }

    download() {
        if (!this.data)
            return;
        const {meter, readings: rows} = this.data;
        save(`meter-${meter.globalId}-${this.range.first}-${this.range.last}.csv`, 'text/csv;charset=utf-8', csv([
            ['global_id', 'uin', 'at', 'status', 'kwh', 'kwh_tariff_1', 'kwh_tariff_2', 'kwh_tariff_3', 'kwh_tariff_4'],
            ...rows.map(row => [meter.globalId, meter.uin, row.at, row.status, ...(row.energy ?? ['', '', '', '', ''])])]));
    }
}
