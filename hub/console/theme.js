// Light or dark: the reader's choice, else the system's. Canvases ask here for their colours.

const dark = matchMedia('(prefers-color-scheme: dark)');
const watchers = new Set();

export function chosenTheme() {
    return localStorage.getItem('theme') ?? 'auto';
}

export function chooseTheme(name) {
    if (name === 'auto')
        localStorage.removeItem('theme');
    else
        localStorage.setItem('theme', name);
    apply();
}

function apply() {
    const name = chosenTheme();
    document.documentElement.dataset.theme = name === 'auto' ? (dark.matches ? 'dark' : 'light') : name;
    for (const watcher of watchers)
        watcher();
}

/// Calls `watcher` at each change until the function that it returns is called.
export function onTheme(watcher) {
    watchers.add(watcher);
    return () => watchers.delete(watcher);
}

export function colour(name) {
    return getComputedStyle(document.documentElement).getPropertyValue(`--${name}`).trim();
}

dark.addEventListener('change', apply);
apply();
