// Elements out of names, attributes and children. Every text becomes a text node: what a node of the radio calls itself
// can never become an element.

/// `h('div.card.wide', {id: 'x', onclick: f}, 'text', element, [more])`. Null, false and undefined are left out.
export function h(name, ...rest) {
    const [tag, ...classes] = name.split('.');
    const element = document.createElement(tag);
    if (classes.length)
        element.className = classes.join(' ');
    const given = rest[0];
    const hasAttributes = given && typeof given === 'object' && !(given instanceof Node) && !Array.isArray(given);
    if (hasAttributes)
        set(element, rest.shift());
    append(element, rest);
    return element;
}

function set(element, attributes) {
    for (const [name, value] of Object.entries(attributes)) {
        if (value === null || value === undefined || value === false)
            continue;
        if (name.startsWith('on'))
            element.addEventListener(name.slice(2), value);
        else if (name === 'value' || name === 'checked')
            element[name] = value;
        else
            element.setAttribute(name, value === true ? '' : value);
    }
}

function append(element, children) {
    for (const child of children.flat(Infinity))
        if (child !== null && child !== undefined && child !== false)
            element.append(child instanceof Node ? child : String(child));
}

/// Puts `children` in the place of all that `element` has.
export function fill(element, ...children) {
    element.replaceChildren();
    append(element, children);
    return element;
}

/// The same for controls that are drawn anew while one of them has the focus: the one in its place gets it.
export function refill(element, ...children) {
    const controls = () => [...element.querySelectorAll('a, button, input, select, summary')];
    const focused = controls().indexOf(document.activeElement);
    fill(element, ...children);
    controls()[focused]?.focus();
    return element;
}

/// A label above its control.
export function field(words, control, ...more) {
    return h('label.field', h('span', words), control, ...more);
}

/// `choices`: [[value, words], ...].
export function select(choices, chosen, attributes) {
    return h('select', attributes, choices.map(([value, words]) =>
        h('option', {value, selected: String(value) === String(chosen)}, words)));
}

/// A table that a reader can sort by its heads. `columns`: [{words, cell(row) -> text or node, sort(row)?, number?,
/// time?}]. `order` is how it is sorted, and keeps the reader's choice for the next table.
export function table(caption, columns, rows, order = {}) {
    const body = h('tbody');
    const heads = columns.map((column, place) => h('th', {scope: 'col', class: column.number ? 'number' : null},
        column.sort ? h('button.sort', {type: 'button', onclick: () => sort(place, place === order.sortedBy && !order.descending)}, column.words)
            : column.words));
    function sort(place, down) {
        Object.assign(order, {sortedBy: place, descending: down});
        const key = columns[place]?.sort;
        const sorted = key ? [...rows].sort((a, b) => compare(key(a), key(b)) * (down ? -1 : 1)) : rows;
        heads.forEach((head, i) => i === place ? head.setAttribute('aria-sort', down ? 'descending' : 'ascending')
            : head.removeAttribute('aria-sort'));
        fill(body, sorted.map(rowOf));
    }
    function rowOf(row) {
        return h('tr', columns.map((column, i) =>
            h(i ? 'td' : 'th', {scope: i ? null : 'row', class: column.number ? 'number' : column.time ? 'nowrap' : null, 'data-words': i ? column.words : null},
                column.cell(row))));
    }
    sort(order.sortedBy, order.descending);
    return h('div.scroll', {tabindex: 0, role: 'region', 'aria-label': caption},
        h('table', h('caption.hidden', caption), h('thead', h('tr', heads)), body));
}

/// Nothing comes last when ascending.
function compare(a, b) {
    const nothing = value => value === null || value === undefined || value === '';
    if (nothing(a) || nothing(b))
        return nothing(a) - nothing(b);
    return a < b ? -1 : a > b ? 1 : 0;
}
