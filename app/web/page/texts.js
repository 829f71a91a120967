// The texts: the camera's own language documents, and nothing but them.
import { get, parseXml } from './api.js';

/**
 * @typedef {object} Language
 * @property {number} id
 * @property {string} code
 * @property {string} name
 */

/** @type {Language[]} */
let languages = [];
/** @type {Language | null} */
let current = null;
/** @type {Map<string, string>} */
let common = new Map();
/** @type {Map<string, string>} */
let styled = new Map();

/** @param {string} xml */
function textsIn(xml) {
    return new Map(
        [...parseXml(xml).querySelectorAll('text')].map((text) => [
            text.getAttribute('id') ?? '',
            text.textContent ?? '',
        ]),
    );
}

/** Of those that there are: what was chosen last, or what the browser prefers. */
function wanted() {
    const codes = [localStorage.getItem('language') ?? '', ...navigator.languages];
    const fitting = codes.map((code) => languages.find((language) => code.split('-')[0] === language.code));
    return fitting.find((language) => language) ?? languages[0];
}

/** @param {Language} language */
function use(language) {
    current = language;
    document.documentElement.lang = language.code;
}

/** What a page needs before anybody has logged in: the library's documents are for those who have. */
export async function loadForStrangers() {
    const index = parseXml(await get('/language/languages.xml'));
    const rows = [...index.querySelectorAll('language')];
    languages = rows.map((row) => ({
        id: Number(row.getAttribute('id')),
        code: row.getAttribute('code') ?? '',
        name: row.getAttribute('name') ?? '',
    }));
    use(wanted());
    const row = rows.find((candidate) => candidate.getAttribute('code') === current?.code);
    common = textsIn(await get(`/language/${row?.getAttribute('common')}`));
}

export async function load() {
    languages = (await get('/api/languages')).languages;
    use(wanted());
    const id = current?.id ?? 0;
    const documents = await Promise.all([get(`/api/common/${id}`), get(`/api/language/${id}`)]);
    [common, styled] = documents.map(textsIn);
}

/** @param {string} code */
export async function choose(code) {
    localStorage.setItem('language', code);
    await load();
}

export function known() {
    return { languages, current };
}

/**
 * A text of the interface; {1}, {2} … become the values.
 * @param {string} id
 * @param {...(string | number)} values
 */
export function t(id, ...values) {
    const text = common.get(id) ?? id;
    return text.replace(/\{(\d)\}/g, (place, number) => String(values[Number(number) - 1] ?? place));
}

/**
 * A text of the style documents: of a page, a group, a parameter or a choice. Those of the device's own controls are
 * the interface's.
 * @param {string} id
 */
export function styleText(id) {
    return styled.get(id) ?? t(id);
}

/** @param {string} unit "percent" */
export function unitText(unit) {
    return unit === '' ? '' : t(`unit_${unit}`);
}

/**
 * A number as the language writes it.
 * @param {number} value
 * @param {number} [digits]
 */
export function numeral(value, digits = 0) {
    return value.toLocaleString(current?.code, { maximumFractionDigits: digits });
}
