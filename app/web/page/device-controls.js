// Controls of a real device that no key stands for. To the pages they are parameters as keys are: each has a number of
// this page's own in the place of a key.
import { Problem, ask, get } from './api.js';

/**
 * @typedef {import('./style-document.js').Control} Control
 * @typedef {import('./style-document.js').Tab} Tab
 *
 * @typedef {object} Row
 * @property {string} control
 * @property {string} title
 * @property {number} [value]
 * @property {number} [saved]
 * @property {import('./camera.js').Allowed} allowed
 */

const kFirst = 1 << 20; // above every key
const kSlider = 10000; // steps; of more a slider cannot choose one

/** By number, in the order in which they were first heard of. @type {string[]} */
const names = [];

/** @param {string} name */
function numberOf(name) {
    if (!names.includes(name)) {
        names.push(name);
    }
    return kFirst + names.indexOf(name);
}

/** @param {number} key */
export function isDeviceControl(key) {
    return key >= kFirst;
}

/** "power_line_frequency"; "" of a key. @param {number} key */
export function controlName(key) {
    return names[key - kFirst] ?? '';
}

/**
 * Rows of controls as rows of keys.
 * @template {{control: string}} T
 * @param {T[]} rows
 */
export function asKeys(rows) {
    return rows.map((row) => ({ ...row, key: numberOf(row.control), name: row.control }));
}

/** A device has yes and no as a choice of these two. @param {import('./camera.js').Allowed} allowed */
function kindOf({ kind, choices, minimum = 0, maximum = 0, step = 1 }) {
    if (kind === 'action') {
        return 'button';
    }
    if (choices) {
        return choices.map(({ value, label }) => `${value} ${label}`).join() === '0 Off,1 On' ? 'switch' : 'combo';
    }
    return (maximum - minimum) / step > kSlider ? 'number' : 'slider';
}

/** @param {Row} row @returns {Control} */
function controlOf({ control, title, allowed }) {
    return {
        kind: kindOf(allowed),
        key: numberOf(control),
        factory: allowed.default,
        min: allowed.minimum ?? 0,
        max: allowed.maximum ?? 1,
        step: allowed.step ?? 1,
        press: 1,
        unit: '',
        text: '',
        label: title || control,
        when: [],
        excludes: -1,
        choices: (allowed.choices ?? []).map(({ value, label }) => ({
            value,
            text: '',
            label: label || String(value),
        })),
        parts: [],
    };
}

/**
 * The page of them, and what the scheme in force makes of them.
 * @param {boolean} isDevice without one there are none, and nothing is asked for
 */
export async function loadControls(isDevice) {
    if (!isDevice) {
        return { tabs: [], rows: [], revision: '' };
    }
    const { body, revision } = await ask('GET', '/api/controls');
    /** @type {Row[]} */
    const rows = body.controls;
    const controls = rows.map(controlOf);
    const group = [false, true].flatMap((isLast) => controls.filter(({ kind }) => (kind === 'button') === isLast));
    /** @type {Tab[]} */
    const tabs = [{ key: 'device', text: 'tab_device', groups: [{ text: 'group_device', controls: group }] }];
    return { tabs: rows.length > 0 ? tabs : [], rows: asKeys(rows), revision };
}

/**
 * Answered as a change of keys is.
 * @param {string} method
 * @param {string} path
 * @param {Map<number, number>} values
 */
async function put(method, path, values) {
    const named = Object.fromEntries([...values].map(([key, value]) => [controlName(key), value]));
    try {
        const { body, revision } = await ask(method, path, named);
        return { body: { values: asKeys(body.controls) }, revision };
    } catch (error) {
        const controls = error instanceof Problem ? (error.body.result?.controls ?? []) : [];
        const refused = controls.find((/** @type {any} */ row) => row.outcome === 'refused');
        if (error instanceof Problem && refused) {
            error.body.key = numberOf(refused.control);
        }
        throw error;
    }
}

/** @param {Map<number, number>} changes */
export function sendControls(changes) {
    return put('PATCH', '/api/controls', changes);
}

/** @param {number} scheme @param {Map<number, number>} values */
export function storeControls(scheme, values) {
    return put('PUT', `/api/schemes/${scheme}/controls`, values);
}

/** What a scheme makes of those that it keeps. @param {number} scheme @returns {Promise<Map<number, number>>} */
export async function controlsOfScheme(scheme) {
    const { controls } = await get(`/api/schemes/${scheme}/controls`);
    const kept = asKeys(/** @type {Row[]} */ (controls)).filter(({ value }) => value !== undefined);
    return new Map(kept.map(({ key, value }) => [key, Number(value)]));
}

/** What there is to a control's value, as there is to a key's. @param {number} key */
export async function explainControl(key) {
    const [{ controls }, { schemes, defaultScheme }] = await Promise.all([get('/api/controls'), get('/api/schemes')]);
    const row = asKeys(/** @type {Row[]} */ (controls)).find((candidate) => candidate.key === key);
    const numbers = [...schemes.map((/** @type {any} */ { scheme }) => scheme), defaultScheme];
    const values = await Promise.all(numbers.map(controlsOfScheme));
    const inSchemes = numbers.map((scheme, i) => ({ scheme, value: values[i].get(key) }));
    return {
        value: row?.value,
        saved: row?.saved,
        factory: row?.allowed.default,
        inSchemes: inSchemes.filter(({ value }) => value !== undefined),
    };
}
