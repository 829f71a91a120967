// Why a parameter is what it is, and what is not saved.
import { get } from './api.js';
import { camera } from './camera.js';
import { controlName, explainControl, isDeviceControl } from './device-controls.js';
import { h } from './dom.js';
import { nameOf, schemeName, valueText } from './names.js';
import { parametersIn } from './style-document.js';
import { t } from './texts.js';
import { askInDialog } from './ui.js';

/** Where the value comes from, and what else there is. @param {import('./style-document.js').Control} control */
export async function explainKey(control) {
    const { key } = control;
    const isOwn = isDeviceControl(key);
    const known = await (isOwn ? explainControl(key) : get(`/api/parameters/${key}`));
    /** @type {[string, number | undefined][]} */
    const rows = [
        ['value_now', known.value],
        ['value_saved', known.saved],
        ['factory_value', known.factory],
        ['value_on_sensor', known.onSensor],
    ];
    await askInDialog({
        title: nameOf(control),
        content: [
            h('p', { class: 'quiet' }, isOwn ? controlName(key) : `${known.name} · ${key}`),
            h(
                'table',
                {},
                h(
                    'tbody',
                    {},
                    rows
                        .filter(([, value]) => value !== undefined)
                        .map(([text, value]) =>
                            h(
                                'tr',
                                {},
                                h('th', { scope: 'row' }, t(text)),
                                h('td', {}, valueText(control, Number(value))),
                            ),
                        ),
                ),
            ),
            h('h3', {}, t('in_schemes')),
            h(
                'table',
                {},
                h(
                    'tbody',
                    {},
                    known.inSchemes.map((/** @type {any} */ row) =>
                        h(
                            'tr',
                            {},
                            h('th', { scope: 'row' }, schemeName(row.scheme)),
                            h('td', {}, valueText(control, row.value)),
                        ),
                    ),
                ),
            ),
        ],
        answers: [{ text: t('button_close'), value: '' }],
    });
}

/** What would be lost if the camera ended now, of all schemes. */
export async function listUnsaved() {
    const controls = new Map(parametersIn(camera.tabs).map((parameter) => [parameter.control.key, parameter]));
    await askInDialog({
        title: t('unsaved_list'),
        content: [
            h(
                'table',
                {},
                h(
                    'thead',
                    {},
                    h(
                        'tr',
                        {},
                        ['scheme', 'parameter', 'value_now', 'value_saved'].map((text) =>
                            h('th', { scope: 'col' }, t(text)),
                        ),
                    ),
                ),
                h(
                    'tbody',
                    {},
                    camera.unsaved.map(({ scheme, key, name, value, saved }) => {
                        const known = controls.get(key);
                        const text = (/** @type {number} */ number) =>
                            known ? valueText(known.control, number) : String(number);
                        return h(
                            'tr',
                            {},
                            h('td', {}, schemeName(scheme)),
                            h('th', { scope: 'row' }, known ? nameOf(known.parent ?? known.control) : name),
                            h('td', {}, text(value)),
                            h('td', {}, text(saved)),
                        );
                    }),
                ),
            ),
        ],
        answers: [{ text: t('button_close'), value: '' }],
    });
}
