// The words of the page in the chosen language.

import en from './texts/en.js';
import ru from './texts/ru.js';

const languages = {en, ru};
export const Languages = [['en', 'English'], ['ru', 'Русский']];

export let language = 'en';

/// The reader's choice, else the first of the browser's languages that we have.
export function preferredLanguage() {
    const chosen = localStorage.getItem('language');
    if (chosen in languages)
        return chosen;
    return navigator.languages.map(name => name.slice(0, 2)).find(name => name in languages) ?? 'en';
}

export function setLanguage(name) {
    language = name;
    document.documentElement.lang = name;
}

export function has(key) {
    return key in languages[language];
}

/// The text of `key` with {name} replaced by `values.name`. A count `values.n` chooses among the forms that "|" separates.
export function t(key, values = {}) {
    const text = languages[language][key];
    if (text === undefined)
        return key;
    const forms = text.split('|');
    const form = forms.length > 1 ? forms[formOf(values.n, forms.length)] : text;
    return form.replace(/\{(\w+)\}/g, (whole, name) => name in values ? String(values[name]) : whole);
}

/// The words of a key that the hub sent, or what it said itself when this page does not know the key.
export function words(group, key, otherwise = key) {
    return has(`${group}.${key}`) ? t(`${group}.${key}`) : otherwise;
}

function formOf(n, count) {
    const order = ['one', 'few', 'many', 'other'];
    const rule = new Intl.PluralRules(language).select(n);
    return count === 2 ? (rule === 'one' ? 0 : 1) : Math.min(order.indexOf(rule), count - 1);
}
