// Every key of the device as a table, also those that no control of the style document has.
import { camera } from './camera.js';
import { h, refill } from './dom.js';
import { t } from './texts.js';
import { Page } from './ui.js';

/** @typedef {import('./camera.js').KeyRow} KeyRow */

/** @param {KeyRow} row */
function allowedText({ allowed }) {
    return !allowed
        ? ''
        : allowed.choices
          ? allowed.choices.map(({ value, label }) => `${value} ${label}`).join(', ')
          : allowed.minimum === undefined
            ? ''
            : `${allowed.minimum} … ${allowed.maximum} ${allowed.unit ?? ''}`;
}

class AllKeys extends Page {
    #body = h('tbody', {});

    show() {
        this.className = 'card';
        refill(
            this,
            h(
                'table',
                {},
                h('caption', { class: 'unseen' }, t('all_keys')),
                h(
                    'thead',
                    {},
                    h(
                        'tr',
                        {},
                        ['key', 'value_now', 'allowed_values'].map((text) => h('th', { scope: 'col' }, t(text))),
                    ),
                ),
                this.#body,
            ),
        );
        this.on('values', () => this.#refresh());
        this.#refresh();
    }

    #refresh() {
        if (this.contains(document.activeElement)) {
            return; // a value is typed
        }
        refill(
            this.#body,
            [...camera.rows.values()].map((row) =>
                h(
                    'tr',
                    {},
                    h('th', { scope: 'row' }, row.name, h('small', {}, String(row.key))),
                    h('td', {}, this.#value(row)),
                    h('td', { class: 'quiet' }, allowedText(row)),
                ),
            ),
        );
    }

    /** @param {KeyRow} row */
    #value(row) {
        const value = camera.values.get(row.key);
        if (!row.allowed || row.onlyStored) {
            return value === undefined ? '–' : String(value);
        }
        const input = h('input', {
            type: 'number',
            value: value === undefined ? '' : String(value),
            'aria-label': row.name,
            disabled: !camera.may('operator'),
            onchange: () => input.value !== '' && camera.change(new Map([[row.key, Math.round(Number(input.value))]])),
            onblur: () => this.#refresh(),
        });
        return input;
    }
}
customElements.define('sc-all-keys', AllKeys);
