// What things are called: parameters, values, schemes, times.
import { camera } from './camera.js';
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
