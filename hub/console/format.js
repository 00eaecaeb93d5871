// Times and numbers as texts. Times are the controller's wall clock, as its log and its schedule have them, wherever the
// browser is.

import {language, t} from './texts.js';

const Day = 86400000;

/// The wall clock of an ISO text as if it were UTC, ms; NaN for none.
export function wallMs(iso) {
    const found = /^(\d{4})-(\d\d)-(\d\d)(?:[T ](\d\d):(\d\d)(?::(\d\d)(\.\d+)?)?)?/.exec(iso ?? '');
    if (!found)
        return NaN;
    const [, year, month, day, hour = 0, minute = 0, second = 0, part = 0] = found;
    return Date.UTC(+year, +month - 1, +day, +hour, +minute, +second) + 1000 * part;
}

/// The other way: "2026-11-24T03:20:00".
export function wallText(ms) {
    return new Date(ms).toISOString().slice(0, 19);
}

export function dayOf(ms) {
    return wallText(ms).slice(0, 10);
}

export function addDays(day, days) {
    return dayOf(wallMs(day) + days * Day);
}

/// "2026-11-24 03:20"; of the day `now` only the time.
export function when(iso, now) {
    if (Number.isNaN(wallMs(iso)))
        return t('never');
    const text = iso.slice(0, 16).replace('T', ' ');
    return now && text.slice(0, 10) === now.slice(0, 10) ? text.slice(11) : text;
}

/// How long from `iso` to `now`, in the largest unit.
export function since(iso, now) {
    return duration((Date.parse(now) - Date.parse(iso)) / 1000);
}

export function duration(seconds) {
    const s = Math.abs(seconds);
    if (!Number.isFinite(s))
        return '';
    if (s < 90)
        return t('seconds', {n: Math.round(s)});
    if (s < 5400)
        return t('minutes', {n: Math.round(s / 60)});
    if (s < 172800)
        return t('hours', {n: Math.round(s / 3600)});
    return t('days', {n: Math.round(s / 86400)});
}

export function number(value, digits = 0) {
    if (value === null || value === undefined || Number.isNaN(value))
        return '–';
    return value.toLocaleString(language, {maximumFractionDigits: digits, minimumFractionDigits: digits});
}

/// kWh, as many digits as are stored.
export function energy(value) {
    if (value === null || value === undefined)
        return '–';
    return value.toLocaleString(language, {maximumSignificantDigits: 7, useGrouping: true});
}

export function signed(value, digits) {
    return value === null || value === undefined ? '–' : (value < 0 ? '−' : '+') + number(Math.abs(value), digits);
}

export function percent(value) {
    return `${number(value, 1)}\u00a0%`;
}

export function percentOf(part, whole) {
    return whole ? Math.floor(1000 * part / whole) / 10 : 100;
}
