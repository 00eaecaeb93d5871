// What went wrong, in words, and the pattern by which a page loads: once, again when something happened, and not after
// the reader has gone on.

import {listen} from './api.js';
import {fill, h} from './dom.js';
import {t} from './texts.js';

export function errorWords(error) {
    if (error.status === undefined)
        return t('error.page', {text: error.message});
    const key = `error.${error.status}`;
    const known = t(key);
    const words = known === key ? t('error.other', {status: error.status}) : known;
    return error.message ? `${words} (${error.message})` : words;
}

export function errorBox(error) {
    if (error.status === undefined)
        console.error(error); // a fault of this page
    return h('p.error', {role: 'alert'}, errorWords(error));
}

/// Runs `load(signal)` now, on `again()`, every `seconds`, and after an event of `kinds`; never twice at once. A failure is
/// shown in `place`, until it works. A tab that is not seen does nothing: a browser has six connections to a host for all
/// its tabs, and a stream of events takes one.
export class Loader {
    constructor(place, load, {seconds = 0, kinds = []} = {}) {
        this.place = place;
        this.load = load;
        this.kinds = kinds;
        this.isLive = seconds > 0 || kinds.length > 0;
        this.stop = new AbortController();
        this.timer = seconds ? setInterval(() => document.hidden || this.again(), 1000 * seconds) : 0;
        document.addEventListener('visibilitychange', () => this.see(), {signal: this.stop.signal});
        this.see();
    }

    see() {
        this.stopListening?.();
        this.stopListening = null;
        if (document.hidden)
            return;
        if (this.kinds.length)
            this.stopListening = listen(this.kinds, () => this.again());
        if (this.isLive || !this.hasLoaded)
            this.again();
    }

    async again() {
        if (this.runs) {
            this.wanted = true;
            return;
        }
        this.runs = true;
        try {
            await this.load(this.stop.signal);
            this.hasLoaded = true;
            fill(this.place);
        } catch (error) {
            if (!this.stop.signal.aborted)
                fill(this.place, errorBox(error));
        }
        this.runs = false;
        if (this.wanted && !this.stop.signal.aborted) {
            this.wanted = false;
            this.again();
        }
    }

    close() {
        this.stop.abort();
        this.stopListening?.();
        clearInterval(this.timer);
    }
}
