// Plots over wall time, by dygraphs. The legend is our own: theirs writes style attributes, which the page's policy forbids.

import {h, fill} from './dom.js';
import {dayOf, number, wallText} from './format.js';
import {colour, onTheme} from './theme.js';

// A classic script, and the largest of all: loaded with the first page that has a plot.
await new Promise((resolve, reject) => document.head.append(h('script', {src: 'dygraph.min.js', onload: resolve,
    onerror: () => reject(new Error('dygraph.min.js'))})));
const {Dygraph} = window;
Dygraph.PLUGINS = Dygraph.PLUGINS.filter(plugin => plugin !== Dygraph.Plugins.Legend);

/// `series`: [{words, colour (name of a CSS variable), kind: 'line' | 'bars' | 'step' | 'points' | 'dashed'}]; `rows`:
/// [[ms, value or null, ...], ...]; `unit` stands behind the values. `barSeconds`: the width of a bar. Returns {close}.
export function chart(host, {name, series, rows, unit, digits = 2, stacked = false, barSeconds = 0, window: seen, onWindow}) {
    const plot = h('div.plot', {role: 'img', 'aria-label': describe(name, series, rows, unit, digits)});
    const values = series.map(() => h('b'));
    const time = h('span.time');
    const keys = series.map((one, i) => h('li', h(`span.key.key-${one.colour}`, {'aria-hidden': 'true'}), `${one.words} `, values[i]));
    fill(host, h('div.legend', h('ul', keys), time), plot);
    const graph = new Dygraph(plot, rows.map(([ms, ...cells]) => [new Date(ms), ...cells]), {
        ...Options, ...colours(series), labels: ['time', ...series.map((one, i) => `s${i}`)],
        series: Object.fromEntries(series.map((one, i) => [`s${i}`, kindOptions(one.kind, barSeconds)])),
        stackedGraph: stacked, includeZero: stacked || series.some(one => one.kind === 'bars' || one.kind === 'step'),
        dateWindow: seen, xRangePad: barSeconds ? 0 : 6, yRangePad: series[0].kind === 'points' ? 10 : null,
        axes: {
            x: {valueFormatter: ms => wallText(ms), pixelsPerLabel: 70, axisLabelFormatter: axisTime},
            y: {axisLabelWidth: 64, axisLabelFormatter: value => number(value, axisDigits(value)), valueFormatter: value => value},
        },
        highlightCallback: (event, ms) => showAt(ms),
        unhighlightCallback: () => showAt(null),
        zoomCallback: (from, to) => onWindow?.([from, to]),
    });
    function showAt(ms) {
        const row = ms === null ? null : rows.find(([at]) => at === ms);
        time.textContent = row ? wallText(ms).replace('T', ' ').slice(0, 16) : '';
        values.forEach((value, i) => value.textContent = row && typeof row[i + 1] === 'number' ? `${number(row[i + 1], digits)} ${unit}` : '');
    }
    const forget = onTheme(() => graph.updateOptions(colours(series)));
    return {close: () => { forget(); graph.destroy(); }};
}

const Options = {
    labelsUTC: true, legend: 'never', strokeWidth: 1.6, gridLineWidth: 0.6, axisLabelFontSize: 12, rightGap: 12,
    axisTickSize: 6, connectSeparatedPoints: false, animatedZooms: false, highlightCircleSize: 3,
};

function colours(series) {
    return {colors: series.map(one => colour(one.colour)), axisLineColor: colour('line'), gridLineColor: colour('line')};
}

function kindOptions(kind, barSeconds) {
    switch (kind) {
    case 'bars': return {plotter: event => drawBars(event, barSeconds)};
    case 'step': return {stepPlot: true, fillGraph: true, fillAlpha: 0.25};
    case 'points': return {strokeWidth: 0, drawPoints: true, pointSize: 2.5};
    case 'dashed': return {strokePattern: [6, 4], drawPoints: false};
    default: return {};
    }
}

/// From each point to the right: a day's bar begins at its midnight. Of a stack the first series is the tallest and comes first.
function drawBars({drawingContext: pen, points, color, dygraph, plotArea}, barSeconds) {
    const zero = dygraph.toDomYCoord(0);
    pen.fillStyle = color;
    for (const point of points) {
        if (!Number.isFinite(point.canvasy))
            continue;
        const from = dygraph.toDomXCoord(point.xval), to = dygraph.toDomXCoord(point.xval + 1000 * barSeconds);
        const gap = Math.min(3, (to - from) * 0.2);
        const left = Math.max(plotArea.x, from + gap / 2);
        pen.fillRect(left, point.canvasy, Math.max(1, to - gap / 2 - left), zero - point.canvasy);
    }
}

function axisTime(value, granularity) {
    const text = wallText(value instanceof Date ? value.getTime() : value);
    return granularity < Dygraph.Granularity.DAILY && text.slice(11, 16) !== '00:00' ? text.slice(11, 16) : text.slice(5, 10);
}

function axisDigits(value) {
    return Number.isInteger(value) ? 0 : Math.abs(value) < 1 ? 2 : 1;
}

/// What a plot shows, for who cannot see it.
function describe(name, series, rows, unit, digits) {
    const parts = series.map((one, i) => {
        const values = rows.map(row => row[i + 1]).filter(value => typeof value === 'number');
        if (!values.length)
            return '';
        const least = values.reduce((a, b) => Math.min(a, b)), most = values.reduce((a, b) => Math.max(a, b));
        return `${one.words}: ${number(least, digits)} … ${number(most, digits)} ${unit}`;
    });
    const days = rows.length ? `${dayOf(rows[0][0])} … ${dayOf(rows.at(-1)[0])}` : '';
    return [name, days, ...parts].filter(Boolean).join('; ');
}
