// What is wrong now, first; then how today goes, and the parts that it needs.

import {get} from '../api.js';
import {fill, h, refill, table} from '../dom.js';
import {dayOf, duration, number, percent, percentOf, signed, since, wallMs, when} from '../format.js';
import {incidentTimes, incidentWords, meterLink, meterLinks} from '../meters.js';
import {Outcomes} from '../outcomes.js';
import {Loader} from '../problems.js';
import {t, words} from '../texts.js';

const Refresh = 15; // seconds

export function show(root, parameters, app) {
    const trouble = h('div');
    const places = {};
    for (const name of ['verdict', 'incidents', 'today', 'failing', 'parts', 'clocks'])
        places[name] = h('section', {'aria-label': t(`overview.${name}`)});
    places.verdict.setAttribute('role', 'status');
    fill(root, trouble, places.verdict, places.incidents, h('div.columns', places.today, places.parts), places.failing, places.clocks);
    const orders = {failing: {sortedBy: 2}, clocks: {}}, drawn = {};
    // Drawn anew only when something is new: whoever reads or walks through the links is not thrown out.
    const put = (name, data, draw) => {
        const text = JSON.stringify(data);
        if (drawn[name] !== text)
            refill(places[name], draw());
        drawn[name] = text;
    };
    return new Loader(trouble, signal => load(put, orders, app, signal), {seconds: Refresh, kinds: ['sweep', 'incident', 'link']});
}

async function load(put, orders, app, signal) {
    const [status, incidents, {clocks}, register] = await Promise.all(['status', 'incidents', 'clocks', 'meters'].map(
        question => get(question, {}, signal)));
    const meters = new Map(register.meters.map(meter => [meter.globalId, meter]));
    const open = incidents.incidents.filter(incident => !incident.until).sort(byWeight);
    const ended = incidents.incidents.filter(incident => incident.until);
    put('verdict', [status.problems, open.length, status.now.slice(0, 16)], () => verdict(status, open));
    put('incidents', [open, ended, open.map(incident => since(incident.since, status.now))], () => incidentList(open, ended, status.now, app));
    put('parts', {...status, now: status.now.slice(0, 10), daemon: {...status.daemon, lastHeard: ''}}, () => [h('h2', t('overview.parts')), parts(status)]);
    const odd = clocks.filter(clock => clock.isOff || clock.drifts || clock.unreadable);
    put('clocks', odd, () => [h('h2', t('overview.clocks')), clockTable(odd, meters, orders.clocks, app)]);
    const day = dayOf(wallMs(status.now));
    const sweeps = await get('sweeps', {from: day, to: day}, signal);
    put('today', [status.today, sweeps], () => [h('h2', t('overview.today')), today(status), sweepBars(sweeps)]);
    put('failing', [sweeps, register], () => [h('h2', t('overview.failing')), failing(sweeps, meters, orders.failing, app)]);
}

function verdict(status, open) {
    const problems = status.problems.map(problem => words('problem', problem.key, problem.text));
    const isWell = !problems.length && !open.length;
    const all = [open.length ? t('overview.open', {n: open.length}) : '', ...problems].filter(Boolean).join('; ');
    const text = isWell ? t('overview.well') : all[0].toUpperCase() + all.slice(1);
    return h(`p.verdict.${isWell ? 'good' : 'bad'}`, h('span.sign', {'aria-hidden': 'true'}, isWell ? '✓' : '!'),
        h('span', text), h('span.time', t('overview.asOf', {time: when(status.now)})));
}

/// What concerns the whole site first, then by the number of meters; of these the newest.
function byWeight(a, b) {
    const weight = incident => incident.meters.length || Infinity;
    return weight(b) === weight(a) ? Date.parse(b.since) - Date.parse(a.since) : weight(b) - weight(a);
}

function incidentList(open, ended, now, app) {
    const item = incident => h('li.incident', h('strong', incidentWords(incident)),
        h('span.time', ` ${incidentTimes(incident, now)}`),
        h('span', ` · ${t('incident.sweeps', {n: incident.sweeps})}`),
        incident.times > 1 && h('span', ` · ${t('incident.times', {n: incident.times})}`),
        incident.meters.length > 0 && meterLinks(app, incident.meters));
    return [h('h2', t('overview.incidents')),
        open.length ? h('ul.incidents', open.map(item)) : h('p.quiet', t('incident.none')),
        ended.length > 0 && h('details', h('summary', t('incident.recent', {n: ended.length})), h('ul.incidents.ended', ended.map(item)))];
}

function today({today: {due, read, late, percent: share, byDeadline}}) {
    return [h('p.figure', percent(share)),
        h('progress', {max: Math.max(1, due), value: read, 'aria-label': t('overview.today')}),
        h('p', t('today.read', {read: number(read), due: number(due)})),
        h('p', t('today.deadline', {n: number(byDeadline), share: percent(percentOf(byDeadline, due))})),
        late > 0 && h('p', t('today.late', {n: number(late)}))];
}

/// One bar for each due sweep of today that is over: how many meters were read.
function sweepBars({sweeps, letters, meters}) {
    const outcomes = new Outcomes(letters);
    const bars = sweeps.filter(sweep => sweep.outcomes).map(sweep => {
        const expected = [...sweep.outcomes].filter(letter => outcomes.isExpected(letter)).length || meters.length;
        const share = percentOf(sweep.read, expected);
        const bar = h('span');
        bar.style.height = `${Math.max(2, share)}%`;
        bar.className = share < 90 ? 'bad' : share < 98 ? 'warn' : '';
        return h('li', {title: t('today.sweep', {time: when(sweep.due, sweep.due), read: sweep.read, due: expected})}, bar);
    });
    return bars.length > 0 && h('figure', h('ol.bars', {'aria-hidden': 'true'}, bars), h('figcaption', t('today.bars', {n: bars.length})));
}

/// Meters without the reading of the last sweep that was made, with since when and why.
function failing({sweeps, letters, meters: ids}, meters, order, app) {
    const outcomes = new Outcomes(letters);
    const made = sweeps.filter(sweep => sweep.outcomes && sweep.made);
    const last = made.at(-1);
    if (!last)
        return h('p.quiet', t('failing.noSweep'));
    const rows = ids.map((globalId, i) => ({meter: meters.get(globalId) ?? {globalId}, letter: last.outcomes[i],
        missed: made.filter(sweep => outcomes.isExpected(sweep.outcomes[i]) && !outcomes.isRead(sweep.outcomes[i])).length}))
        .filter(row => row.letter && outcomes.isExpected(row.letter) && !outcomes.isRead(row.letter));
    if (!rows.length)
        return h('p.quiet', t('failing.none', {time: when(last.due, last.due)}));
    return table(t('overview.failing'), [
        {words: t('meter'), cell: row => meterLink(app, row.meter), sort: row => row.meter.globalId},
        {words: t('why'), cell: row => [swatch(outcomes, row.letter), outcomes.words(row.letter)], sort: row => outcomes.words(row.letter)},
        {words: t('failing.lastReading'), cell: row => when(row.meter.lastReading?.at), time: true, sort: row => row.meter.lastReading?.at ?? '0'},
        {words: t('failing.missed'), number: true, cell: row => t('of', {n: row.missed, all: made.length}), sort: row => row.missed},
    ], rows, order);
}

function swatch(outcomes, letter) {
    return h(`span.swatch.cell-${outcomes.key(letter).replaceAll('_', '-')}`, {'aria-hidden': 'true'}, letter);
}

function parts(status) {
    const {daemon, modem, database, lastSweep, mqtt, forwarder, now} = status;
    const state = (isGood, text) => h(`span.state.${isGood === null ? 'unknown' : isGood ? 'good' : 'bad'}`, text);
    const rows = [
        [t('part.lastSweep'), lastSweep ? [when(lastSweep.at, now), ' · ', t('part.sweepRead', {read: lastSweep.read, n: lastSweep.meters}),
            lastSweep.durationSeconds ? ` · ${duration(lastSweep.durationSeconds)}` : ''] : t('never')],
        [t('part.nextSweep'), status.nextSweep ? when(status.nextSweep, now) : t('part.noneDue')],
        [t('part.nextClockSweep'), status.nextClockSweep ? when(status.nextClockSweep, now) : t('part.noneDue')],
        [t('part.daemon'), state(daemon.connected, daemon.connected ? t('part.connected', {time: when(daemon.since, now)}) : t('part.away'))],
        [t('part.modem'), state(modem.state === 'unknown' ? null : modem.state === 'working', words('modem', modem.state)
            + (modem.since && modem.state !== 'unknown' ? `, ${t('since', {time: when(modem.since, now)})}` : ''))],
        [t('part.database'), state(database.reachable, [database.kind, ' · ', database.reachable ? t('part.reachable') : database.error || t('part.unreachable')])],
        mqtt?.configured && [t('part.mqtt'), state(mqtt.connected, mqtt.connected ? t('part.reachable') : t('part.unreachable'))],
        forwarder && [t('part.forwarder'), state(forwarder.running && !forwarder.problem, forwarderWords(forwarder))],
        status.hub && [t('part.hub'), `${status.hub.version} · ${t('since', {time: when(status.hub.since, now)})}`],
    ].filter(Boolean);
    return h('dl.parts', rows.map(([name, value]) => h('div', h('dt', name), h('dd', value))));
}

function forwarderWords({running, problem, waiting, lagSeconds, deadLetters}) {
    return [running ? problem : t('part.stopped'),
        waiting ? t('part.waiting', {n: waiting, lag: duration(lagSeconds)}) : waiting === 0 && t('part.delivered'),
        deadLetters && t('part.dead', {n: deadLetters})].filter(Boolean).join(' · ');
}

function clockTable(clocks, meters, order, app) {
    if (!clocks.length)
        return h('p.quiet', t('clocks.none'));
    const remark = row => [row.unreadable > 0 && t('clocks.unreadable', {n: row.unreadable}), row.referenced && t('clocks.referenced')]
        .filter(Boolean).join('; ');
    return table(t('overview.clocks'), [
        {words: t('meter'), cell: row => meterLink(app, meters.get(row.globalId) ?? row), sort: row => row.globalId},
        {words: t('clocks.offset'), number: true, cell: row => `${signed(row.offsetSeconds, 0)} ${t('s')}`, sort: row => row.offsetSeconds},
        {words: t('clocks.drift'), number: true, cell: row => signed(row.driftSecondsPerDay, 2), sort: row => row.driftSecondsPerDay},
        {words: t('clocks.asked'), time: true, cell: row => when(row.asked), sort: row => row.asked},
        clocks.some(remark) && {words: t('clocks.remark'), cell: remark},
    ].filter(Boolean), [...clocks].sort((a, b) => Math.abs(b.offsetSeconds ?? 0) - Math.abs(a.offsetSeconds ?? 0)), order);
}
