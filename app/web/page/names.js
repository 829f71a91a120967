// What things are called: parameters, values, schemes, times.
import { camera } from './camera.js';
import { parametersIn } from './style-document.js';
import { styleText, t, unitText } from './texts.js';

/** @typedef {import('./style-document.js').Control} Control */

/** @param {{text: string, label: string}} named */
export function nameOf(named) {
    return named.label || styleText(named.text);
}

/** The parts of a time have no name of their own. @param {Control} control */
export function partName(control) {
    return t(control.kind);
}

/** @param {Control} control @param {number} value */
export function valueText(control, value) {
    const choice = control.choices.find((candidate) => candidate.value === value);
    if (choice) {
        return nameOf(choice);
    }
    if (control.kind === 'switch') {
        return styleText(value ? 'on' : 'off');
    }
    return control.unit ? `${value} ${unitText(control.unit)}` : String(value);
}

/** @param {number} minutes of the day */
export function timeText(minutes) {
    return `${String(Math.floor(minutes / 60)).padStart(2, '0')}:${String(minutes % 60).padStart(2, '0')}`;
}

/** @param {number | undefined} scheme */
export function schemeName(scheme) {
    return scheme === undefined
        ? t('scheme_none')
        : scheme === camera.status?.defaultScheme
          ? t('scheme_default')
          : t('scheme_number', scheme);
}

/** Why something was refused: in the page's language, as far as it has words for it. @param {import('./api.js').Problem} problem */
export function problemText({ status, code, body, message }) {
    const { key, value, allowed } = body;
    const found = parametersIn(camera.tabs).find(({ control }) => control.key === key);
    const name = found ? nameOf(found.parent ?? found.control) : String(body.name);
    if (code === 'busy' && status === 409) {
        return t('message_busy');
    }
    if (code === 'refused-value' && allowed?.choices) {
        const choices = allowed.choices.map((/** @type {any} */ choice) => choice.label || choice.value);
        return t('message_choice', name, choices.join(', '));
    }
    if (code === 'refused-value' && (value < allowed?.minimum || value > allowed?.maximum)) {
        return t('message_range', name, allowed.minimum, allowed.maximum);
    }
    const isOfKey = ['refused-value', 'device-refused'].includes(code) && key !== undefined && value !== undefined;
    return isOfKey ? t('message_refused', value, name) : message || t('message_failed');
}
