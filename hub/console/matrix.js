// A matrix of coloured cells on a canvas: rows x columns of letters. It draws what is in view alone; where several columns
// share a pixel, the letter that matters most is shown. Mouse, touch and keyboard choose a cell, which is told in words.

import {h, fill} from './dom.js';
import {t} from './texts.js';
import {colour, onTheme} from './theme.js';
import {inkOn, parts} from './outcomes.js';

const Head = 24; // px above the cells: times
const LeastForLabel = 13; // px of a row that has its label
const LeastForLetter = 11; // px of a cell that shows its letter
const MostColumn = 26;
const MostRow = 24;
const Font = '11px system-ui, sans-serif';

export class Matrix {
    /// `model`: {rows, columns, at(row, column) -> letter, outcomes, label(row), mark(column) -> text above or '',
    /// labelWidth, tell(row, column) -> words,
    /// open(row) or null, openWords}. `name` is what a screen reader says.
    constructor(host, model, name) {
        this.model = model;
        this.canvas = h('canvas', {'aria-hidden': 'true'});
        this.extent = h('div.extent');
        this.tip = h('div.tip', {hidden: true});
        this.words = h('span');
        this.link = h('button.link', {type: 'button', hidden: true, onclick: () => this.open()}, model.openWords);
        this.box = h('div.matrix', {tabindex: 0, role: 'application', 'aria-label': name,
            'aria-roledescription': t('matrix.role'), 'aria-describedby': 'matrix-told'}, this.canvas, this.extent);
        fill(host, h('div.zoom', {role: 'group', 'aria-label': t('matrix.zoom')},
            this.button('−', t('matrix.out'), () => this.zoom(1 / 1.6)),
            this.button('+', t('matrix.in'), () => this.zoom(1.6)),
            this.button(t('matrix.fit'), t('matrix.fitAll'), () => this.fit())),
        h('div.matrix-frame', this.box, this.tip),
        h('p.told', {id: 'matrix-told', role: 'status'}, this.words, ' ', this.link));
        this.cursor = null;
        this.isHere = true;
        this.listen();
        this.tellHint();
        this.fit();
    }

    button(text, name, act) {
        return h('button', {type: 'button', 'aria-label': name, title: name, onclick: act}, text);
    }

    listen() {
        this.box.addEventListener('scroll', () => this.later());
        this.box.addEventListener('pointermove', event => this.hover(event));
        this.box.addEventListener('pointerleave', () => this.tip.hidden = true);
        this.box.addEventListener('click', event => this.click(event));
        this.box.addEventListener('keydown', event => this.key(event));
        this.box.addEventListener('wheel', event => {
            if (!event.ctrlKey)
                return;
            event.preventDefault();
            this.zoom(event.deltaY < 0 ? 1.25 : 0.8, event);
        }, {passive: false});
        this.forgetTheme = onTheme(() => this.later());
        this.resized = new ResizeObserver(() => this.isFit ? this.fit() : this.later());
        this.resized.observe(this.box);
    }

    close() {
        this.forgetTheme();
        this.resized.disconnect();
        this.isHere = false;
    }

    /// Other rows or letters of the same kind, at the same zoom.
    update(model) {
        Object.assign(this.model, model);
        this.cursor = null;
        this.tellHint();
        this.isFit ? this.fit() : this.resize();
    }

    tellHint() {
        this.words.textContent = t(this.model.open ? 'matrix.hint' : 'matrix.hintAlone');
        this.link.hidden = true;
    }

    // --- geometry

    get left() {
        return this.rowHeight >= LeastForLabel ? Math.min(this.model.labelWidth, this.box.clientWidth / 3) : 34;
    }

    fit() {
        this.isFit = true;
        const {rows, columns} = this.model;
        const room = Math.max(200, Math.min(window.innerHeight * 0.7, 900)) - Head;
        const height = room / Math.max(1, rows);
        this.rowHeight = Math.max(2, Math.min(18, height < 5 ? height : Math.floor(height)));
        this.columnWidth = (this.box.clientWidth - this.left) / Math.max(1, columns);
        this.resize();
    }

    /// Keeps the place under the pointer, or the middle.
    zoom(factor, event) {
        const {x, y} = event ? this.place(event) : {x: (this.box.clientWidth + this.left) / 2, y: this.box.clientHeight / 2};
        const column = (this.box.scrollLeft + x - this.left) / this.columnWidth;
        const row = (this.box.scrollTop + y - Head) / this.rowHeight;
        const least = (this.box.clientWidth - this.left) / Math.max(1, this.model.columns);
        this.columnWidth = Math.max(least, Math.min(Math.max(least, MostColumn), this.columnWidth * factor));
        this.rowHeight = Math.max(2, Math.min(MostRow, Math.round(this.rowHeight * factor)));
        this.isFit = false;
        this.resize();
        this.box.scrollLeft = column * this.columnWidth - (x - this.left);
        this.box.scrollTop = row * this.rowHeight - (y - Head);
        this.later();
    }

    resize() {
        const {rows, columns} = this.model;
        const height = Head + rows * this.rowHeight;
        this.box.style.height = `${Math.min(height + 2, Math.max(200, Math.min(window.innerHeight * 0.7, 900)))}px`;
        const width = this.box.clientWidth, seen = this.box.clientHeight;
        this.extent.style.width = `${Math.max(1, Math.floor(this.left + columns * this.columnWidth))}px`;
        this.extent.style.height = `${height}px`;
        this.extent.style.marginTop = `${-seen}px`;
        const scale = window.devicePixelRatio;
        this.canvas.width = Math.round(width * scale);
        this.canvas.height = Math.round(seen * scale);
        this.canvas.style.width = `${width}px`;
        this.canvas.style.height = `${seen}px`;
        this.draw();
    }

    place(event) {
        const box = this.box.getBoundingClientRect();
        return {x: event.clientX - box.left - this.box.clientLeft, y: event.clientY - box.top - this.box.clientTop};
    }

    /// Null outside of the cells.
    cellAt(event) {
        const {x, y} = this.place(event);
        const column = Math.floor((this.box.scrollLeft + x - this.left) / this.columnWidth);
        const row = Math.floor((this.box.scrollTop + y - Head) / this.rowHeight);
        const inside = x >= this.left && y >= Head && column < this.model.columns && row < this.model.rows;
        return inside ? {row, column} : null;
    }

    // --- drawing

    later() {
        if (this.waits)
            return;
        this.waits = true;
        requestAnimationFrame(() => {
            this.waits = false;
            if (!this.isHere)
                return;
            this.canvas.width === Math.round(this.box.clientWidth * window.devicePixelRatio) ? this.draw() : this.resize();
        });
    }

    draw() {
        const begun = performance.now();
        const scale = window.devicePixelRatio;
        const pen = this.canvas.getContext('2d');
        pen.setTransform(1, 0, 0, 1, 0, 0);
        pen.fillStyle = colour('card');
        pen.fillRect(0, 0, this.canvas.width, this.canvas.height);
        this.drawCells(pen, scale);
        pen.setTransform(scale, 0, 0, scale, 0, 0);
        pen.font = Font;
        pen.textBaseline = 'middle';
        if (this.columnWidth >= LeastForLetter && this.rowHeight >= LeastForLetter)
            this.drawLetters(pen);
        this.drawCursor(pen);
        this.drawLabels(pen);
        this.drawMarks(pen);
        this.drawnIn = performance.now() - begun;
    }

    /// One line of pixels a row, repeated down to the row's height.
    drawCells(pen, scale) {
        const {rows, columns, at} = this.model;
        const left = Math.round(this.left * scale), top = Math.round(Head * scale);
        const width = this.canvas.width - left, height = this.canvas.height - top;
        if (width <= 0 || height <= 0 || !rows || !columns)
            return;
        const image = new ImageData(width, height);
        const pixels = new Uint32Array(image.data.buffer);
        const cell = this.columnWidth * scale, row = this.rowHeight * scale;
        const gapX = cell >= 5 * scale ? Math.round(scale) : 0, gapY = row >= 5 * scale ? Math.round(scale) : 0;
        const spans = this.spans(width, cell, gapX, columns);
        const ink = this.inks();
        const first = Math.floor(this.box.scrollTop / this.rowHeight);
        for (let r = first; r < rows; ++r) {
            const from = Math.round(r * row - this.box.scrollTop * scale);
            const to = Math.min(height, Math.round((r + 1) * row - this.box.scrollTop * scale) - gapY);
            const begin = Math.max(0, from);
            if (begin >= height)
                break;
            if (to <= begin)
                continue;
            for (let x = 0; x < width; ++x)
                pixels[begin * width + x] = spans.from[x] < 0 ? 0 : ink(at, r, spans.from[x], spans.to[x]);
            for (let y = begin + 1; y < to; ++y)
                pixels.copyWithin(y * width, begin * width, (begin + 1) * width);
        }
        pen.putImageData(image, left, top);
    }

    /// For each pixel of a line: the columns that it stands for; -1 where it stands for none.
    spans(width, cell, gap, columns) {
        const from = new Int32Array(width).fill(-1), to = new Int32Array(width);
        const offset = this.box.scrollLeft * window.devicePixelRatio;
        for (let x = 0; x < width; ++x) {
            const column = Math.floor((x + 0.5 + offset) / cell);
            if (column >= columns || (gap && x + offset >= Math.ceil((column + 1) * cell - 0.5) - gap))
                continue;
            from[x] = column;
            to[x] = Math.min(columns - 1, Math.max(column, Math.ceil((x + 1 + offset) / cell) - 1));
        }
        return {from, to};
    }

    /// The pixel for the columns `from` to `to` of a row. Letters are ASCII: a month of 200 meters asks 300,000 times.
    inks() {
        const {outcomes} = this.model;
        const pixels = new Uint32Array(128), weights = new Int16Array(128).fill(-1);
        const known = letter => {
            const code = letter.charCodeAt(0) & 127;
            if (weights[code] < 0) {
                const [r, g, b] = parts(outcomes.colour(letter));
                pixels[code] = letter === '.' ? 0 : 255 << 24 | b << 16 | g << 8 | r;
                weights[code] = outcomes.weight(letter);
            }
            return code;
        };
        return (at, row, from, to) => {
            let worst = known(at(row, from));
            for (let column = from + 1; column <= to; ++column) {
                const code = known(at(row, column));
                if (weights[code] > weights[worst])
                    worst = code;
            }
            return pixels[worst];
        };
    }

    inView() {
        const first = Math.floor(this.box.scrollLeft / this.columnWidth);
        const top = Math.floor(this.box.scrollTop / this.rowHeight);
        return {
            first, top,
            last: Math.min(this.model.columns, first + Math.ceil((this.box.clientWidth - this.left) / this.columnWidth) + 1),
            bottom: Math.min(this.model.rows, top + Math.ceil((this.box.clientHeight - Head) / this.rowHeight) + 1),
        };
    }

    x(column) {
        return this.left + column * this.columnWidth - this.box.scrollLeft;
    }

    y(row) {
        return Head + row * this.rowHeight - this.box.scrollTop;
    }

    drawLetters(pen) {
        const {first, last, top, bottom} = this.inView();
        pen.textAlign = 'center';
        for (let row = top; row < bottom; ++row)
            for (let column = first; column < last; ++column) {
                const letter = this.model.at(row, column);
                if (letter === '.' || this.model.outcomes.key(letter) === 'read')
                    continue;
                pen.fillStyle = inkOn(this.model.outcomes.colour(letter));
                pen.fillText(letter, this.x(column) + this.columnWidth / 2, this.y(row) + this.rowHeight / 2);
            }
    }

    drawCursor(pen) {
        if (!this.cursor)
            return;
        pen.strokeStyle = colour('text');
        pen.lineWidth = 2;
        pen.strokeRect(this.x(this.cursor.column) - 1, this.y(this.cursor.row) - 1,
            Math.max(3, this.columnWidth) + 1, this.rowHeight + 1);
    }

    drawLabels(pen) {
        pen.fillStyle = colour('card');
        pen.fillRect(0, Head, this.left, this.box.clientHeight);
        pen.fillStyle = colour('muted');
        pen.textAlign = 'right';
        const step = Math.max(1, Math.ceil(LeastForLabel / this.rowHeight));
        const {top, bottom} = this.inView();
        for (let row = Math.ceil(top / step) * step; row < bottom; row += step) {
            const y = this.y(row) + this.rowHeight / 2;
            if (y >= Head + 3)
                pen.fillText(fitting(pen, this.model.label(row, step > 1), this.left - 8), this.left - 5, y);
        }
    }

    drawMarks(pen) {
        pen.fillStyle = colour('card');
        pen.fillRect(0, 0, this.box.clientWidth, Head);
        pen.textAlign = 'left';
        const {first, last} = this.inView();
        let free = this.left;
        for (let column = first; column < last; ++column) {
            const mark = this.model.mark(column, this.columnWidth);
            const x = this.x(column);
            if (!mark || x < free)
                continue;
            pen.fillStyle = colour('line');
            pen.fillRect(x, Head - 7, 1, 7);
            pen.fillStyle = colour('muted');
            pen.fillText(mark, x + 3, Head / 2 - 2);
            free = x + pen.measureText(mark).width + 10;
        }
        pen.fillStyle = colour('card');
        pen.fillRect(0, 0, this.left, Head);
    }

    // --- choosing a cell

    hover(event) {
        const cell = this.cellAt(event);
        this.tip.hidden = !cell || event.pointerType === 'touch';
        if (this.tip.hidden)
            return;
        fill(this.tip, this.model.tell(cell.row, cell.column));
        const {x, y} = this.place(event);
        const room = this.box.clientWidth - this.tip.offsetWidth - 4;
        this.tip.style.left = `${Math.max(4, Math.min(room, x + 14))}px`;
        this.tip.style.top = `${y + 18 + this.tip.offsetHeight > this.box.clientHeight ? y - this.tip.offsetHeight - 8 : y + 18}px`;
    }

    click(event) {
        const cell = this.cellAt(event);
        if (!cell)
            return;
        this.choose(cell);
        if (event.pointerType !== 'touch') // a finger cannot look at a cell before it taps
            this.open();
    }

    open() {
        if (this.cursor && this.model.open)
            this.model.open(this.cursor.row);
    }

    choose(cell) {
        this.cursor = cell;
        this.words.textContent = this.model.tell(cell.row, cell.column);
        this.link.hidden = !this.model.open;
        this.show(cell);
        this.later();
    }

    show({row, column}) {
        const x = column * this.columnWidth, y = row * this.rowHeight;
        const width = this.box.clientWidth - this.left, height = this.box.clientHeight - Head;
        if (x < this.box.scrollLeft || x + this.columnWidth > this.box.scrollLeft + width)
            this.box.scrollLeft = x - width / 2;
        if (y < this.box.scrollTop || y + this.rowHeight > this.box.scrollTop + height)
            this.box.scrollTop = y - height / 2;
    }

    key(event) {
        const {rows, columns} = this.model;
        const {row, column} = this.cursor ?? {row: 0, column: columns - 1};
        const moves = {
            ArrowLeft: [row, column - 1], ArrowRight: [row, column + 1], ArrowUp: [row - 1, column], ArrowDown: [row + 1, column],
            PageUp: [row - 10, column], PageDown: [row + 10, column], Home: [row, 0], End: [row, columns - 1],
        };
        const acts = {'+': () => this.zoom(1.6), '=': () => this.zoom(1.6), '-': () => this.zoom(1 / 1.6), 0: () => this.fit(),
            Enter: () => this.open()};
        if (event.ctrlKey || event.altKey || event.metaKey || !(event.key in moves || event.key in acts) || !rows || !columns)
            return;
        event.preventDefault();
        if (event.key in acts)
            return acts[event.key]();
        const [toRow, toColumn] = this.cursor ? moves[event.key] : [row, column];
        this.choose({row: Math.max(0, Math.min(rows - 1, toRow)), column: Math.max(0, Math.min(columns - 1, toColumn))});
    }
}

/// As much of `text` as `width` pixels hold.
function fitting(pen, text, width) {
    if (pen.measureText(text).width <= width)
        return text;
    let end = text.length;
    while (end > 1 && pen.measureText(`${text.slice(0, end)}…`).width > width)
        --end;
    return `${text.slice(0, end)}…`;
}
