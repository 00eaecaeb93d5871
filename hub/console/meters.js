// Names and links of meters, and their incidents in words.

import {h} from './dom.js';
import {since, when} from './format.js';
import {t, words} from './texts.js';

/// "12 · 000D6F… · SET3"
export function meterName(meter) {
    return [meter.globalId, meter.uin, meter.model].filter(Boolean).join(' · ');
}

export function meterLink(app, meter) {
    return app.link('meter', {item: meter.globalId}, meterName(meter));
}

/// At most `most` links, the rest behind a click.
export function meterLinks(app, meters, most = 6) {
    const items = meters.map(meter => h('li', meterLink(app, meter)));
    if (items.length <= most + 2)
        return h('ul.meters', items);
    return [h('ul.meters', items.slice(0, most)),
        h('details', h('summary', t('more', {n: items.length - most})), h('ul.meters', items.slice(most)))];
}

/// Since when, and for how long.
export function incidentTimes(incident, now) {
    const begin = when(incident.since, now);
    const from = incident.beganBefore ? t('incident.before', {time: begin}) : begin;
    if (!incident.until)
        return t('incident.lasts', {time: from, long: since(incident.since, now)});
    return t('incident.ended', {time: from, until: when(incident.until, now)});
}

export function incidentWords(incident) {
    return words('incident', incident.kind, incident.text);
}
