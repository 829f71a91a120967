// The style document as data: which controls there are, and in which order.
import { parseXml } from './api.js';

/**
 * @typedef {object} Choice
 * @property {number} value
 * @property {string} text id of a text; "" with a label
 * @property {string} label the text itself
 *
 * @typedef {object} Control
 * @property {string} kind "slider"
 * @property {number} key -1: no parameter
 * @property {number} factory
 * @property {number} min
 * @property {number} max
 * @property {number} step
 * @property {number} press
 * @property {string} unit
 * @property {string} text
 * @property {string} label
 * @property {{key: number, values: number[]}[]} when all must hold
 * @property {number} excludes key of a switch that cannot be on at the same time; -1: none
 * @property {Choice[]} choices
 * @property {Control[]} parts of a time or a window
 *
 * @typedef {{text: string, controls: Control[]}} Group
 * @typedef {{key: string, text: string, groups: Group[]}} Tab
 */

/**
 * @param {Element} element
 * @param {string} name
 * @param {number} otherwise
 */
function number(element, name, otherwise) {
    return element.hasAttribute(name) ? Number(element.getAttribute(name)) : otherwise;
}

/**
 * @param {Element} element
 * @returns {Control}
 */
function controlOf(element) {
    const conditions = (element.getAttribute('when') ?? '').split(';').filter((condition) => condition !== '');
    const children = [...element.children];
    return {
        kind: element.tagName,
        key: element.hasAttribute('value') ? number(element, 'id', -1) : -1,
        factory: number(element, 'value', 0),
        min: number(element, 'min', 0),
        max: number(element, 'max', 1),
        step: number(element, 'step', 1),
        press: number(element, 'press', 1),
        unit: element.getAttribute('unit') ?? '',
        text: element.getAttribute('text') ?? '',
        label: element.getAttribute('label') ?? '',
        when: conditions.map((condition) => {
            const [key, values] = condition.split('=');
            return { key: Number(key), values: values.split(',').map(Number) };
        }),
        excludes: number(element, 'enable_list', -1),
        choices: children
            .filter((child) => child.tagName === 'item')
            .map((child) => ({
                value: number(child, 'index', 0),
                text: child.getAttribute('text') ?? '',
                label: child.getAttribute('label') ?? '',
            })),
        parts: children.filter((child) => child.tagName !== 'item').map(controlOf),
    };
}

/**
 * @param {string} xml
 * @returns {Tab[]}
 */
export function tabsIn(xml) {
    const root = parseXml(xml).documentElement;
    return [...root.children].map((tab) => ({
        key: tab.getAttribute('key') ?? '',
        text: tab.getAttribute('text') ?? '',
        groups: [...tab.children].map((group) => ({
            text: group.getAttribute('text') ?? '',
            controls: [...group.children].map(controlOf),
        })),
    }));
}

/**
 * Every parameter, with what it stands in.
 * @param {Tab[]} tabs
 * @returns {{tab: Tab, group: Group, control: Control, parent: Control | null}[]}
 */
export function parametersIn(tabs) {
    /** @type {ReturnType<typeof parametersIn>} */
    const found = [];
    for (const tab of tabs) {
        for (const group of tab.groups) {
            /** @param {Control} control @param {Control | null} parent */
            const visit = (control, parent) => {
                if (control.key >= 0) {
                    found.push({ tab, group, control, parent });
                }
                control.parts.forEach((part) => visit(part, control));
            };
            group.controls.forEach((control) => visit(control, null));
        }
    }
    return found;
}
