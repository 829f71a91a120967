// Every key of the device as a table, also those that no control of the style document has.
import { camera } from './camera.js';
import { keyMenu } from './controls.js';
import { h, refill } from './dom.js';
import { t } from './texts.js';
import { Page } from './ui.js';

/** @typedef {import('./camera.js').KeyRow} KeyRow */

/** @param {Partial<KeyRow>} row */
function allowedText({ allowed }) {
    return !allowed
        ? ''
        : allowed.choices
          ? allowed.choices.map(({ value, label }) => `${value} ${label}`).join(', ')
          : allowed.minimum === undefined
            ? ''
            : `${allowed.minimum} … ${allowed.maximum} ${allowed.unit ?? ''}`;
}

/**
 * A key as if the style document had it.
 * @param {number} key
 * @param {string} name
 * @param {NonNullable<KeyRow['allowed']>} allowed
 * @returns {import('./style-document.js').Control}
 */
function plainControl(key, name, allowed) {
    return {
        key,
        kind: 'number',
        text: '',
        label: name,
        unit: '',
        factory: allowed.default ?? 0,
        min: allowed.minimum ?? 0,
        max: allowed.maximum ?? 0,
        step: allowed.step ?? 1,
        press: 0,
        when: [],
        excludes: -1,
        choices: (allowed.choices ?? []).map((choice) => ({ text: '', ...choice })),
        parts: [],
    };
}

class AllKeys extends Page {
    /** Shows what is in force, row by row. @type {(() => void)[]} */
    #updates = [];

    show() {
        this.className = 'card';
        this.#updates = [];
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
                        ['key', 'value_now', 'factory_value', 'allowed_values'].map((text) =>
                            h('th', { scope: 'col' }, t(text)),
                        ),
                        h('td', {}),
                    ),
                ),
                h(
                    'tbody',
                    {},
                    [...camera.rows.values()].map((row) => this.#row(row)),
                ),
            ),
        );
        this.on('values', () => this.#updates.forEach((update) => update()));
    }

    /** @param {KeyRow} row */
    #row({ key, name, allowed, onlyStored }) {
        const canBeSet = allowed !== undefined && !onlyStored;
        const factory = allowed?.default;
        const shown = () => String(camera.values.get(key) ?? '');
        const input = h('input', {
            type: 'number',
            'aria-label': name,
            disabled: !camera.may('operator'),
            onchange: () => input.value !== '' && camera.change(new Map([[key, Math.round(Number(input.value))]])),
            onblur: () => (input.value = shown()),
        });
        const now = h('td', {}, canBeSet ? input : null);
        const range = h('td', { class: 'quiet' });
        const update = () => {
            if (!canBeSet) {
                now.textContent = shown() || '–';
            } else if (document.activeElement !== input) {
                input.value = shown();
            }
            range.textContent = allowedText(camera.rows.get(key) ?? {});
        };
        this.#updates.push(update);
        update();
        return h(
            'tr',
            { 'data-key': key },
            h('th', { scope: 'row' }, name, h('small', {}, String(key))),
            now,
            h('td', {}, factory ?? '–'),
            range,
            h('td', {}, canBeSet && factory !== undefined ? keyMenu(plainControl(key, name, allowed)) : null),
        );
    }
}
customElements.define('sc-all-keys', AllKeys);
