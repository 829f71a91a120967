// The values of two schemes side by side, whichever is in force.
import { ask, get } from './api.js';
import { camera } from './camera.js';
import { controlsOfScheme, isDeviceControl, storeControls } from './device-controls.js';
import { h, icon, refill } from './dom.js';
import { nameOf, schemeName, valueText } from './names.js';
import { parametersIn } from './style-document.js';
import { t } from './texts.js';
import { action, notify, notifyProblem } from './ui.js';

/**
 * Of what a scheme keeps, without its window and without what only acts.
 * @param {number} scheme
 * @returns {Promise<Map<number, number>>}
 */
async function valuesOf(scheme) {
    const [{ values }, controls] = await Promise.all([
        get(`/api/schemes/${scheme}`),
        camera.status?.device ? controlsOfScheme(scheme) : [],
    ]);
    const rows = values.filter((/** @type {any} */ value) => {
        const row = camera.rows.get(value.key);
        return row && !row.onlyStored && row.allowed && row.allowed.kind !== 'action';
    });
    return new Map([...rows.map((/** @type {any} */ value) => [value.key, value.value]), ...controls]);
}

/** How many values the other did not have. @param {number} from @param {number} to */
export async function copyValues(from, to) {
    const [source, target] = await Promise.all([valuesOf(from), valuesOf(to)]);
    const other = [...source].filter(([key, value]) => target.has(key) && target.get(key) !== value);
    const keys = other.filter(([key]) => !isDeviceControl(key));
    const controls = other.filter(([key]) => isDeviceControl(key));
    if (keys.length > 0) {
        await ask('PUT', `/api/schemes/${to}`, Object.fromEntries(keys));
    }
    if (controls.length > 0) {
        await storeControls(to, new Map(controls));
    }
    return other.length;
}

export class SchemeCompare extends HTMLElement {
    /** Both with the default scheme, which has values and no window. @type {number[]} */
    #schemes = [];
    #defaultScheme = -1;
    #a = 0;
    #b = 1;
    #isWhole = false;
    #asked = 0;

    /** @param {import('./day.js').Schedule} schedule */
    async draw(schedule) {
        this.#defaultScheme = schedule.defaultScheme;
        this.#schemes = [...schedule.schemes.map((row) => row.scheme), schedule.defaultScheme];
        await this.#refresh();
    }

    /** @param {number} chosen @param {string} label @param {(scheme: number) => void} choose */
    #select(chosen, label, choose) {
        const element = h(
            'select',
            {
                value: String(chosen),
                'aria-label': label,
                'data-focus': label,
                onchange: action(() => {
                    choose(Number(element.value));
                    return this.#refresh();
                }),
            },
            this.#schemes.map((scheme) => h('option', { value: String(scheme) }, schemeName(scheme))),
        );
        return element;
    }

    async #refresh() {
        const mine = ++this.#asked;
        const [a, b] = await Promise.all([valuesOf(this.#a), valuesOf(this.#b)]);
        if (mine !== this.#asked) {
            return; // a later answer is on its way
        }
        const all = parametersIn(camera.tabs).filter(({ control }) => a.has(control.key));
        const different = all.filter(({ control }) => a.get(control.key) !== b.get(control.key));
        const rows = this.#isWhole ? all : different;
        const whole = h('input', {
            type: 'checkbox',
            checked: this.#isWhole,
            'data-focus': 'whole',
            onchange: action(() => {
                this.#isWhole = whole.checked;
                return this.#refresh();
            }),
        });
        refill(
            this,
            h(
                'div',
                { class: 'compare-head' },
                this.#select(this.#a, t('first_scheme'), (scheme) => {
                    this.#a = scheme;
                }),
                h(
                    'button',
                    {
                        type: 'button',
                        disabled: !camera.may('operator') || different.length === 0 || this.#b === this.#defaultScheme,
                        onclick: () => void this.#copy(),
                    },
                    icon('copy'),
                    h('span', {}, t('copy_values')),
                ),
                this.#select(this.#b, t('second_scheme'), (scheme) => {
                    this.#b = scheme;
                }),
                h('label', { class: 'check' }, whole, t('all_parameters')),
            ),
            rows.length === 0 ? h('p', { class: 'empty' }, t('no_difference')) : this.#table(rows, a, b),
        );
    }

    async #copy() {
        try {
            notify(t('values_copied', await copyValues(this.#a, this.#b), schemeName(this.#b)));
            await this.#refresh();
        } catch (error) {
            notifyProblem(error);
        }
    }

    /**
     * @param {ReturnType<typeof parametersIn>} rows
     * @param {Map<number, number>} a
     * @param {Map<number, number>} b
     */
    #table(rows, a, b) {
        const names = [schemeName(this.#a), schemeName(this.#b)];
        return h(
            'div',
            { class: 'scroll', tabindex: '0', role: 'region', 'aria-label': names.join(' – ') },
            h(
                'table',
                {},
                h('caption', { class: 'unseen' }, t('compare_schemes')),
                h(
                    'thead',
                    {},
                    h(
                        'tr',
                        {},
                        [t('parameter'), ...names].map((text) => h('th', { scope: 'col' }, text)),
                    ),
                ),
                h(
                    'tbody',
                    {},
                    rows.map(({ control, parent }) =>
                        h(
                            'tr',
                            { class: a.get(control.key) === b.get(control.key) ? 'same' : '' },
                            h(
                                'th',
                                { scope: 'row' },
                                parent ? `${nameOf(parent)}: ${t(control.kind)}` : nameOf(control),
                            ),
                            h('td', {}, valueText(control, a.get(control.key) ?? 0)),
                            h('td', {}, valueText(control, b.get(control.key) ?? 0)),
                        ),
                    ),
                ),
            ),
        );
    }
}
customElements.define('sc-scheme-compare', SchemeCompare);
