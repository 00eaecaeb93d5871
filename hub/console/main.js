// The frame around the pages: navigation, language, theme, token, and the word when the hub is away.

import * as api from './api.js';
import {field, fill, h, select} from './dom.js';
import {Languages, language, preferredLanguage, setLanguage, t} from './texts.js';
import {chooseTheme, chosenTheme} from './theme.js';
import * as overview from './pages/overview.js';
import * as coverage from './pages/coverage.js';
import * as meter from './pages/meter.js';
import * as traffic from './pages/traffic.js';
import * as network from './pages/network.js';
import * as commands from './pages/commands.js';
import {errorWords} from './problems.js';

const Pages = {overview, coverage, meter, traffic, network, commands};
const AskAgain = 3000; // ms, while the hub is away

const app = {go, link, addressOf, page: '', parameters: {}};
let shown = null; // {update(parameters)?, close()} of the page
let main, banner, navigation, dialog, controllers = [];

/// "#/meter/12?span=week" -> {page, item, parameters}
function parse(hash) {
    const [path, query] = hash.replace(/^#\/?/, '').split('?');
    const [page, item] = path.split('/');
    const parameters = Object.fromEntries(new URLSearchParams(query));
    if (item)
        parameters.item = decodeURIComponent(item);
    return {page: page in Pages ? page : 'overview', parameters};
}

function addressOf(page, parameters = {}) {
    const {item, ...rest} = parameters;
    const query = new URLSearchParams(Object.entries(rest).filter(([, value]) => value !== '' && value !== undefined));
    if (!rest.controller && app.parameters.controller)
        query.set('controller', app.parameters.controller);
    const text = query.toString();
    return `#/${page}${item === undefined ? '' : `/${encodeURIComponent(item)}`}${text ? `?${text}` : ''}`;
}

/// `replace`: the browser's "back" does not come here again.
function go(page, parameters, {replace = false} = {}) {
    const address = addressOf(page, parameters);
    if (address === location.hash)
        return;
    history[replace ? 'replaceState' : 'pushState'](null, '', address);
    route();
}

function link(page, parameters, ...children) {
    return h('a', {href: addressOf(page, parameters)}, children);
}

function route() {
    const {page, parameters} = parse(location.hash);
    const isSame = shown && page === app.page && parameters.controller === app.parameters.controller;
    app.page = page;
    app.parameters = parameters;
    api.chooseController(parameters.controller ?? '');
    markNavigation();
    if (isSame && shown.update)
        shown.update(parameters);
    else
        open();
}

function open({keepFocus = false} = {}) {
    shown?.close();
    const heading = h('h1', {id: 'title', tabindex: -1}, t(`page.${app.page}`));
    const body = h('div.page');
    fill(main, heading, body);
    document.title = `${t(`page.${app.page}`)} – Ravelin`;
    shown = Pages[app.page].show(body, app.parameters, app);
    if (!keepFocus && document.activeElement !== document.body)
        heading.focus({preventScroll: true});
    window.scrollTo(0, 0);
}

function markNavigation() {
    fill(navigation, h('ul', Object.keys(Pages).map(page => h('li',
        h('a', {href: addressOf(page, {}), 'aria-current': page === app.page ? 'page' : null}, t(`page.${page}`))))));
}

function frame() {
    main = h('main', {id: 'main', tabindex: -1, 'aria-labelledby': 'title'});
    banner = h('div.banner', {role: 'alert', hidden: true});
    navigation = h('nav', {'aria-label': t('nav')});
    fill(document.body,
        h('a.skip', {href: '#main', onclick: event => { event.preventDefault(); main.focus(); }}, t('skip')),
        h('header', h('div.brand', h('img', {src: 'icon.svg', alt: '', width: 22, height: 22}), h('strong', 'Ravelin'), chooser()),
            h('div.settings',
                select(Languages, language, {'aria-label': t('language'), id: 'language', onchange: changeLanguage}),
                select(['auto', 'light', 'dark'].map(name => [name, t(`theme.${name}`)]), chosenTheme(),
                    {'aria-label': t('theme'), id: 'theme', onchange: event => chooseTheme(event.target.value)}),
                h('button', {type: 'button', id: 'token', onclick: askToken}, t('token.short'))),
            navigation),
        banner, main);
}

/// Which controller, when the hub serves several.
function chooser() {
    const place = h('span.controller');
    const draw = () => fill(place, controllers.length < 2 ? controllers[0] ?? ''
        : select(controllers.map(name => [name, name]), app.parameters.controller ?? controllers[0], {'aria-label': t('controller'),
            onchange: event => go(app.page === 'meter' ? 'overview' : app.page, {controller: event.target.value})}));
    draw();
    chooser.draw = draw;
    return place;
}

async function learnControllers() {
    try {
        ({controllers} = await api.get('status'));
        api.knowControllers(controllers);
        chooser.draw();
    } catch {
        // the page says what is wrong; "back" comes here again
    }
}

function changeLanguage(event) {
    localStorage.setItem('language', event.target.value);
    setLanguage(event.target.value);
    shown?.close();
    shown = null;
    frame();
    markNavigation();
    open({keepFocus: true});
    document.getElementById('language').focus();
}

function askToken() {
    if (dialog)
        return;
    const input = h('input', {type: 'password', autocomplete: 'off', spellcheck: 'false', value: api.token()});
    const close = keep => {
        hasDeclined = !keep;
        if (keep)
            api.keepToken(input.value.trim());
        dialog.close();
    };
    dialog = h('dialog', {'aria-labelledby': 'token-title', onclose: () => { dialog.remove(); dialog = null; }},
        h('form', {onsubmit: event => { event.preventDefault(); close(true); open(); }},
            h('h2', {id: 'token-title'}, t('token.title')), h('p', t('token.about')), field(t('token.field'), input),
            h('div.buttons', h('button.primary', {type: 'submit'}, t('token.keep')),
                h('button', {type: 'button', onclick: () => { api.keepToken(''); close(false); }}, t('token.forget')),
                h('button', {type: 'button', onclick: () => close(false)}, t('cancel')))));
    document.body.append(dialog);
    dialog.showModal();
}

let asking = 0;
let hasDeclined = false; // to give a token: not asked again, the button is there

function away() {
    fill(banner, errorWords(new api.ApiError(0, '')));
    banner.hidden = false;
    asking = setInterval(() => api.get('status').catch(() => {}), AskAgain); // "back" tells when it worked
}

function back() {
    clearInterval(asking);
    banner.hidden = true;
    learnControllers();
    open({keepFocus: true});
}

setLanguage(preferredLanguage());
frame();
api.hub.addEventListener('away', away);
api.hub.addEventListener('back', back);
api.hub.addEventListener('token', () => api.token() || hasDeclined || askToken());
window.addEventListener('hashchange', route);
// A page that the browser keeps for "back" would keep its connections, too.
window.addEventListener('pagehide', () => shown?.close());
window.addEventListener('pageshow', event => event.persisted && open({keepFocus: true}));
route();
learnControllers();
