// The hub's interface: questions, commands, live events. The token lives as long as this tab.

const base = new URL('api/', document.baseURI);
const LongestEvent = 1 << 20; // characters of an event that is not whole yet
const LongestPause = 10000; // ms between two attempts to come back

/// Tells "away" when the hub stops answering, "back" when it answers again, "token" when it wants one.
export const hub = new EventTarget();
let isAway = false;
let controller = ''; // the reader's choice
let first = ''; // the hub's, where none was made

export function chooseController(name) {
    controller = name;
}

export function knowControllers(names) {
    first = names[0] ?? '';
}

export function token() {
    return sessionStorage.getItem('token') ?? '';
}

export function keepToken(value) {
    if (value)
        sessionStorage.setItem('token', value);
    else
        sessionStorage.removeItem('token');
}

/// `status`: the HTTP status, 0 when nobody answered.
export class ApiError extends Error {
    constructor(status, text) {
        super(text);
        this.status = status;
    }
}

function tell(away) {
    if (away === isAway)
        return;
    isAway = away;
    hub.dispatchEvent(new Event(away ? 'away' : 'back'));
}

function address(path, query) {
    const url = new URL(path, base);
    if (controller)
        url.searchParams.set('controller', controller);
    for (const [name, value] of Object.entries(query ?? {}))
        if (value !== undefined && value !== null && value !== '')
            url.searchParams.set(name, value);
    return url;
}

async function request(url, options = {}) {
    const headers = {...options.headers};
    if (token())
        headers.Authorization = `Bearer ${token()}`;
    let response;
    try {
        response = await fetch(url, {...options, headers, cache: 'no-store', credentials: 'omit'});
    } catch (reason) {
        if (reason.name === 'AbortError')
            throw reason;
        tell(true);
        throw new ApiError(0, '');
    }
    tell(false);
    if (response.ok)
        return response;
    if (response.status === 401 || response.status === 403)
        hub.dispatchEvent(new Event('token'));
    throw new ApiError(response.status, await reasonOf(response));
}

async function reasonOf(response) {
    try {
        return String((await response.json()).error ?? '');
    } catch {
        return ''; // a proxy's own page
    }
}

export async function get(path, query, signal) {
    const response = await request(address(path, query), {signal});
    try {
        return await response.json();
    } catch (reason) {
        if (reason.name === 'AbortError')
            throw reason;
        throw new ApiError(response.status, 'The answer is not JSON.');
    }
}

/// All readings of a meter in a range: the hub gives them in pages.
export async function readings(query, signal) {
    const all = await get('readings', query, signal);
    let next = all.next;
    while (next) {
        const page = await get('readings', {...query, from: next}, signal);
        all.readings.push(...page.readings);
        if (page.next === next)
            break;
        next = page.next;
    }
    return all;
}

export async function command(name, argument) {
    const response = await request(address(`commands/${encodeURIComponent(name)}`), {
        method: 'POST',
        headers: {'Content-Type': 'application/json'},
        body: JSON.stringify(argument === undefined ? {} : {argument}),
    });
    return response.json();
}

/// Live events until the function that it returns is called. `take(kind, data)`; `state(isOpen, error)`.
/// The browser's own EventSource cannot send a token.
export function listen(kinds, take, state = () => {}) {
    const stop = new AbortController();
    let lastId = '';
    async function once() {
        const headers = {Accept: 'text/event-stream'};
        if (lastId)
            headers['Last-Event-ID'] = lastId;
        const response = await request(address('events', {kinds: kinds.join(',')}), {signal: stop.signal, headers});
        state(true);
        await readEvents(response.body, event => {
            lastId = event.id || lastId;
            if (!event.data)
                return;
            const data = JSON.parse(event.data);
            const wanted = controller || first; // without a choice the hub sends the events of all
            if (!wanted || !data.controller || data.controller === wanted)
                take(event.event, data);
        });
    }
    async function forever() {
        for (let pause = 500; !stop.signal.aborted; pause = Math.min(2 * pause, LongestPause)) {
            const begun = performance.now();
            try {
                await once();
                state(false);
            } catch (reason) {
                if (stop.signal.aborted)
                    return;
                state(false, reason);
            }
            if (performance.now() - begun > LongestPause)
                pause = 500;
            await new Promise(resolve => setTimeout(resolve, pause));
        }
    }
    forever();
    return () => stop.abort();
}

async function readEvents(body, take) {
    const reader = body.pipeThrough(new TextDecoderStream()).getReader();
    let text = '';
    for (;;) {
        const {value, done} = await reader.read();
        if (done)
            return;
        text += value;
        const blocks = text.split(/\r?\n\r?\n/);
        text = blocks.pop();
        if (text.length > LongestEvent)
            throw new ApiError(0, 'An event without an end.');
        for (const block of blocks)
            take(eventOf(block));
    }
}

function eventOf(block) {
    const event = {id: '', event: 'message', data: ''};
    for (const line of block.split(/\r?\n/)) {
        const colon = line.indexOf(':');
        const name = line.slice(0, colon);
        if (colon > 0 && name in event)
            event[name] = (name === 'data' && event.data ? `${event.data}\n` : '') + line.slice(colon + 1).replace(/^ /, '');
    }
    return event;
}
