// The daemon's commands: what each does, its argument, a question before what stops or resets, the answer.

import {command, get} from '../api.js';
import {field, fill, h} from '../dom.js';
import {errorWords, Loader} from '../problems.js';
import {has, t} from '../texts.js';

/// Do not end the daemon, but a node or the modem is not the same afterwards.
const Resets = new Set(['Reset_KS', 'Write_direct_in_port']);

export function show(root) {
    const trouble = h('div'), list = h('div.commands'), nodes = h('datalist', {id: 'nodes'});
    fill(root, h('p', t('commands.about')), trouble, nodes, list);
    return new Loader(trouble, async signal => {
        const [{commands}, known] = await Promise.all([get('commands', {}, signal), get('nodes', {}, signal)]);
        fill(nodes, known.nodes.map(node => h('option', {value: node.uin})));
        fill(list, commands.map(one => card(one)));
    });
}

function card(one) {
    const asks = one.stops || Resets.has(one.name);
    const input = one.argument === 'none' ? null : h('input', {
        required: one.argument === 'uin' || one.argument === 'bytes', list: one.argument.startsWith('uin') ? 'nodes' : null, autocomplete: 'off', spellcheck: 'false',
        placeholder: one.argument === 'bytes' ? 'C0 02 C1' : null});
    const result = h('output.result');
    const send = h('button', {type: 'submit', class: asks ? 'danger' : 'primary'}, t('commands.send'));
    const about = has(`command.${one.name}`) ? t(`command.${one.name}`) : one.about;
    const id = `command-${one.name}`;
    const form = h('form.card', {'aria-labelledby': id, onsubmit: async event => {
        event.preventDefault();
        if (asks && !await confirmed(one.name, about))
            return;
        await run(one, input?.value, send, result);
    }}, h('h2', {id}, one.name), h('p', about), asks && h('p.warning', t(one.stops ? 'commands.stops' : 'commands.resets')),
    input && field(t(`argument.${one.argument}`), input), h('div.buttons', send), result);
    return form;
}

async function run(one, argument, send, result) {
    send.disabled = true;
    fill(result, t('commands.sending'));
    result.className = 'result';
    try {
        const {reply} = await command(one.name, argument);
        fill(result, reply === undefined ? t('commands.sent') : h('pre', replyText(reply)));
        result.classList.add('good');
    } catch (error) {
        fill(result, errorWords(error));
        result.classList.add('bad');
    }
    send.disabled = false;
}

function replyText(reply) {
    if (Array.isArray(reply))
        return reply.join('\n');
    return typeof reply === 'object' ? JSON.stringify(reply, null, 2) : String(reply);
}

function confirmed(name, about) {
    return new Promise(resolve => {
        let answer = false;
        const dialog = h('dialog', {'aria-labelledby': 'confirm-title', onclose: () => { dialog.remove(); resolve(answer); }},
            h('form', {method: 'dialog'}, h('h2', {id: 'confirm-title'}, t('commands.confirm', {name})), h('p', about),
                h('div.buttons', h('button', {type: 'submit', autofocus: true}, t('cancel')),
                    h('button.danger', {type: 'button', onclick: () => { answer = true; dialog.close(); }}, t('commands.yes')))));
        document.body.append(dialog);
        dialog.showModal();
    });
}
