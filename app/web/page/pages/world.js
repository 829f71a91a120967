// What is around the camera, where it can be changed: time, light, distance, and a device that fails.
import { Problem, ask, get } from '../api.js';
import { camera } from '../camera.js';
import { nameOf, timeText } from '../controls.js';
import { h, icon, iconButton, newId, refill } from '../dom.js';
import { pictureElement } from '../picture.js';
import { parametersIn } from '../style-document.js';
import { numeral, t } from '../texts.js';
import { Page, action, card, notifyProblem } from '../ui.js';

const kDarkest = -1; // powers of ten, in lux
const kBrightest = 5;
const kBetween = 100; // milliseconds between two changes

/** Presets, in lux. */
const kLights = [
    ['light_sun', 50000],
    ['light_overcast', 5000],
    ['light_office', 400],
    ['light_dusk', 30],
    ['light_street', 5],
    ['light_moon', 0.2],
];

class WorldPage extends Page {
    /** @type {any} */
    #world = null;
    #time = h('input', { type: 'range', min: 0, max: 1439, step: 1 });
    #light = h('input', { type: 'range', min: kDarkest, max: kBrightest, step: 0.05 });
    #distance = h('input', { type: 'number', min: 0.1, step: 0.1, inputmode: 'decimal' });
    #figures = h('dl', { class: 'figures' });
    #faults = h('div', {});
    /** @type {Record<string, any>} */
    #waiting = {};
    #isSending = false;

    show() {
        void this.#begin();
    }

    async #begin() {
        try {
            this.#world = await get('/api/world');
        } catch (error) {
            if (error instanceof Problem && error.code === 'not-settable') {
                refill(this, h('div', { class: 'empty card' }, icon('world'), h('p', {}, t('no_world'))));
                return;
            }
            notifyProblem(error);
            return;
        }
        this.#build();
        this.#refresh();
        this.on('status', () => void this.#look());
        this.on('connection', () => void this.#look());
    }

    get #isLocked() {
        return !camera.may('administrator');
    }

    #build() {
        this.#time.oninput = () => this.#send({ time: timeText(Number(this.#time.value)) });
        this.#light.oninput = () => this.#send({ light: Number((10 ** Number(this.#light.value)).toPrecision(2)) });
        this.#distance.onchange = () => this.#send({ distance: Number(this.#distance.value) });
        for (const [input, text] of /** @type {[HTMLInputElement, string][]} */ ([
            [this.#time, 'clock'],
            [this.#light, 'light'],
            [this.#distance, 'distance'],
        ])) {
            input.disabled = this.#isLocked;
            input.setAttribute('aria-label', t(text));
        }
        const preset = (/** @type {string} */ text, /** @type {any} */ light) =>
            h('button', { type: 'button', disabled: this.#isLocked, onclick: () => this.#send({ light }) }, t(text));
        refill(
            this,
            h('div', { class: 'world-picture' }, pictureElement(true), this.#figures),
            h(
                'div',
                { class: 'world-controls' },
                this.#isLocked ? h('p', { class: 'note standing' }, icon('info'), t('only_administrator')) : null,
                card(t('clock'), [
                    h('div', { class: 'slider sky' }, this.#time),
                    h(
                        'div',
                        { class: 'ends', 'aria-hidden': 'true' },
                        ['00', '06', '12', '18', '24'].map((hour) => h('span', {}, hour)),
                    ),
                    h(
                        'div',
                        { class: 'buttons start' },
                        ['06:00', '12:00', '19:00', '23:00'].map((time) =>
                            h(
                                'button',
                                { type: 'button', disabled: this.#isLocked, onclick: () => this.#send({ time }) },
                                time,
                            ),
                        ),
                    ),
                ]),
                card(t('light'), [
                    h('div', { class: 'slider' }, this.#light),
                    h(
                        'div',
                        { class: 'ends', 'aria-hidden': 'true' },
                        [0.1, 10, 1000, 100000].map((lux) => h('span', {}, `${numeral(lux, 2)} ${t('unit_lux')}`)),
                    ),
                    h(
                        'div',
                        { class: 'buttons start' },
                        preset('light_daylight', 'daylight'),
                        kLights.map(([text, lux]) => preset(String(text), lux)),
                    ),
                ]),
                card(t('distance'), [
                    h('div', { class: 'field' }, this.#distance, h('span', { class: 'unit' }, 'm')),
                    h('p', { class: 'quiet' }, t('distance_hint')),
                ]),
                card(t('faults'), [h('p', { class: 'quiet' }, t('faults_hint')), this.#faults]),
            ),
        );
    }

    /** The last of what was moved is always sent. @param {Record<string, any>} change */
    #send(change) {
        Object.assign(this.#waiting, change);
        if (!this.#isSending) {
            this.#isSending = true;
            void this.#sendAll();
        }
    }

    async #sendAll() {
        while (Object.keys(this.#waiting).length > 0) {
            const change = this.#waiting;
            this.#waiting = {};
            const pause = new Promise((resolve) => setTimeout(resolve, kBetween));
            try {
                this.#world = (await ask('PUT', '/api/world', change)).body;
            } catch (error) {
                notifyProblem(error);
                this.#waiting = {};
            }
            this.#refresh();
            await pause;
        }
        this.#isSending = false;
    }

    async #look() {
        if (this.#isSending || camera.connection !== 'open') {
            return;
        }
        try {
            this.#world = await get('/api/world');
            if (!this.#isSending) {
                this.#refresh();
            }
        } catch (error) {
            camera.noticeFailure(error);
        }
    }

    #refresh() {
        const world = this.#world;
        const [hour, minute] = world.time.split(':').map(Number);
        const figure = (/** @type {string} */ name, /** @type {string} */ value) =>
            h('div', {}, h('dt', {}, name), h('dd', {}, value));
        refill(
            this.#figures,
            figure(t('clock'), world.time),
            figure(t('speed'), `${numeral(world.speed, 1)}×`),
            world.lux === undefined
                ? null
                : figure(t('light'), `${numeral(world.lux, world.lux < 10 ? 2 : 0)} ${t('unit_lux')}`),
            figure(t('state'), t(world.night ? 'night' : 'day')),
            camera.status?.lamps === undefined ? null : figure(t('lamps'), `${camera.status.lamps} %`),
        );
        const show = (
            /** @type {HTMLInputElement} */ input,
            /** @type {number} */ value,
            /** @type {string} */ text,
        ) => {
            input.value = String(value);
            input.style.setProperty(
                '--share',
                String((value - Number(input.min)) / (Number(input.max) - Number(input.min))),
            );
            input.setAttribute('aria-valuetext', text);
        };
        if (!('time' in this.#waiting)) {
            show(this.#time, hour * 60 + minute, world.time);
        }
        if (!('light' in this.#waiting)) {
            show(
                this.#light,
                Math.min(kBrightest, Math.max(kDarkest, Math.log10(Math.max(world.lux ?? 0, 0.1)))),
                `${world.lux} ${t('unit_lux')}`,
            );
        }
        if (document.activeElement !== this.#distance) {
            this.#distance.value = String(world.distance);
        }
        this.#showFaults();
    }

    #showFaults() {
        const faults = this.#world.faults;
        const state = JSON.stringify(faults ?? null);
        if (this.#faults.dataset.state === state) {
            return;
        }
        this.#faults.dataset.state = state;
        if (!faults) {
            refill(this.#faults, h('p', { class: 'empty' }, t('no_faults_possible')));
            return;
        }
        const names = new Map(
            parametersIn(camera.tabs).map(({ control, parent }) => [control.key, nameOf(parent ?? control)]),
        );
        const key = h(
            'select',
            { id: newId() },
            [...names]
                .filter(([number]) => !camera.rows.get(number)?.onlyStored)
                .map(([number, name]) => h('option', { value: String(number) }, name)),
        );
        const count = h('input', { id: newId(), type: 'number', min: 1, max: 100, value: '1' });
        const put = (/** @type {any[]} */ list) =>
            this.#send({
                faults: list.map((fault) => ({
                    key: fault.key,
                    status: fault.status,
                    after: fault.after,
                    count: fault.count,
                })),
            });
        refill(
            this.#faults,
            faults.length === 0
                ? null
                : h(
                      'ul',
                      { class: 'rows' },
                      faults.map((/** @type {any} */ fault, /** @type {number} */ i) =>
                          h(
                              'li',
                              {},
                              h(
                                  'span',
                                  {},
                                  t('fault_text', names.get(fault.key) ?? fault.name, fault.count, fault.status),
                              ),
                              iconButton(
                                  'close',
                                  t('remove'),
                                  () => put(faults.filter((/** @type {any} */ _, /** @type {number} */ j) => j !== i)),
                                  { disabled: this.#isLocked },
                              ),
                          ),
                      ),
                  ),
            h(
                'div',
                { class: 'form-row' },
                h('label', { for: key.id }, t('parameter')),
                key,
                h('label', { for: count.id }, t('times')),
                count,
                h(
                    'button',
                    {
                        type: 'button',
                        disabled: this.#isLocked,
                        onclick: action(() =>
                            put([
                                ...faults,
                                { key: Number(key.value), status: -4, after: 0, count: Number(count.value) },
                            ]),
                        ),
                    },
                    t('add'),
                ),
            ),
        );
    }
}
customElements.define('sc-world', WorldPage);
