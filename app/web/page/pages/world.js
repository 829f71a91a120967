// What is around the camera, where it can be changed: time, light, weather, distance, and a device that fails.
import { Problem, ask, get } from '../api.js';
import { camera } from '../camera.js';
import { h, icon, iconButton, newId, refill } from '../dom.js';
import { nameOf, timeText } from '../names.js';
import { lightText, pictureElement } from '../picture.js';
import { Sender } from '../sender.js';
import { parametersIn } from '../style-document.js';
import { numeral, t, unitText } from '../texts.js';
import { Page, action, card, notifyProblem, segments } from '../ui.js';

const kSpeeds = [1, 10, 60, 240, 960];
const kHours = [0, 6, 12, 18, 24];
const kTimes = ['06:00', '12:00', '19:00', '23:00'];

/** In lux. */
const kLights = [
    ['light_sun', 50000],
    ['light_overcast', 5000],
    ['light_office', 400],
    ['light_dusk', 30],
    ['light_street', 5],
    ['light_moon', 0.2],
];

/**
 * A slider of the page, and how its position becomes a value.
 * @typedef {object} Dial
 * @property {string} name of the member
 * @property {string} text
 * @property {number} min
 * @property {number} max
 * @property {number} step
 * @property {(position: number) => any} value
 * @property {(world: any) => number} position
 * @property {(world: any) => string} reading
 */

/** @param {string} name @returns {Dial} */
function percent(name) {
    return {
        name,
        text: name,
        min: 0,
        max: 100,
        step: 1,
        value: (position) => position,
        position: (world) => world[name],
        reading: (world) => `${world[name]} ${unitText('percent')}`,
    };
}

/** Where the ends of what spans powers of ten are; two digits are enough. @param {number} position */
function power(position) {
    return Number((10 ** position).toPrecision(2));
}

const kTime = {
    name: 'time',
    text: 'clock',
    min: 0,
    max: 1439,
    step: 1,
    value: timeText,
    position: (/** @type {any} */ world) => {
        const [hour, minute] = world.time.split(':').map(Number);
        return hour * 60 + minute;
    },
    reading: (/** @type {any} */ world) => world.time,
};

const kLight = {
    name: 'light',
    text: 'light',
    min: -1,
    max: 5,
    step: 0.05,
    value: power,
    position: (/** @type {any} */ world) => Math.log10(Math.max(world.lux ?? 0, 0.1)),
    reading: (/** @type {any} */ world) => lightText(world.lux ?? 0),
};

const kDistance = {
    name: 'distance',
    text: 'distance',
    min: -0.3,
    max: 2.7,
    step: 0.05,
    value: power,
    position: (/** @type {any} */ world) => Math.log10(world.distance),
    reading: (/** @type {any} */ world) => `${numeral(world.distance, 1)} ${unitText('metres')}`,
};

class WorldPage extends Page {
    /** @type {any} */
    #world = null;
    /** @type {{dial: Dial, input: HTMLInputElement, reading: HTMLElement}[]} */
    #dials = [];
    #figures = h('dl', { class: 'figures' });
    #lux = h('input');
    #speed = h('div', {});
    #faults = h('div', {});
    #sender = new Sender(
        (/** @type {Map<string, any>} */ changes) => ask('PUT', '/api/world', Object.fromEntries(changes)),
        ({ body }) => this.#take(body),
        (error) => {
            notifyProblem(error);
            void this.#look();
        },
    );

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
        for (const event of ['status', 'world', 'connection']) {
            this.on(event, () => void this.#look());
        }
    }

    get #isLocked() {
        return !camera.may('administrator');
    }

    /** @param {string} member @param {any} value */
    #send(member, value) {
        this.#sender.put([[member, value]]);
    }

    /** A slider, and what it is at. @param {Dial} dial */
    #dial(dial) {
        const { name, min, max, step } = dial;
        const input = h('input', {
            type: 'range',
            min,
            max,
            step,
            disabled: this.#isLocked,
            'aria-label': t(dial.text),
            oninput: () => {
                this.#showShare(input);
                this.#send(name, dial.value(Number(input.value)));
            },
        });
        const reading = h('output', { class: 'reading' });
        this.#dials.push({ dial, input, reading });
        return { slider: h('div', { class: 'slider' }, input), reading };
    }

    /** @param {import('../dom.js').Child[]} marks */
    #ends(marks) {
        return h(
            'div',
            { class: 'ends', 'aria-hidden': 'true' },
            marks.map((mark) => h('span', {}, mark)),
        );
    }

    /** @param {string} member @param {string} text @param {any} value */
    #preset(member, text, value) {
        return h(
            'button',
            { type: 'button', disabled: this.#isLocked, onclick: () => this.#send(member, value) },
            text,
        );
    }

    #build() {
        this.#dials = [];
        const time = this.#dial(kTime);
        const light = this.#dial(kLight);
        const distance = this.#dial(kDistance);
        const weather = ['haze', 'wind'].filter((name) => name in this.#world);
        this.#lux = h('input', {
            type: 'number',
            min: 0,
            step: 'any',
            'aria-label': `${t('light')} (${unitText('lux')})`,
            disabled: this.#isLocked,
            onchange: () => this.#lux.value !== '' && this.#send('light', Number(this.#lux.value)),
            onblur: () => this.#refresh(),
        });
        time.slider.classList.add('sky');
        refill(
            this,
            h(
                'div',
                { class: 'world-picture' },
                pictureElement(true),
                this.#figures,
                card(t('faults'), [h('p', { class: 'quiet' }, t('faults_hint')), this.#faults]),
            ),
            h(
                'div',
                { class: 'column' },
                this.#isLocked ? h('p', { class: 'note standing' }, icon('info'), t('only_administrator')) : null,
                card(
                    t('clock'),
                    [
                        time.slider,
                        this.#ends(kHours.map((hour) => String(hour).padStart(2, '0'))),
                        h(
                            'div',
                            { class: 'buttons start' },
                            kTimes.map((text) => this.#preset('time', text, text)),
                        ),
                        h('div', { class: 'speed' }, h('span', {}, t('speed')), this.#speed),
                    ],
                    [time.reading],
                ),
                card(
                    t('light'),
                    [
                        light.slider,
                        this.#ends([0.1, 10, 1000, 100000].map((lux) => `${numeral(lux, 2)} ${unitText('lux')}`)),
                        h(
                            'div',
                            { class: 'buttons start' },
                            this.#preset('light', t('light_daylight'), 'daylight'),
                            kLights.map(([text, lux]) => this.#preset('light', t(String(text)), lux)),
                        ),
                    ],
                    [h('div', { class: 'field' }, this.#lux, h('span', { class: 'unit' }, unitText('lux')))],
                ),
                weather.length === 0
                    ? null
                    : card(t('weather'), [
                          h(
                              'div',
                              { class: 'sliders' },
                              weather.flatMap((name) => {
                                  const { slider, reading } = this.#dial(percent(name));
                                  return [h('span', {}, t(name)), slider, reading];
                              }),
                          ),
                      ]),
                card(
                    t('distance'),
                    [
                        distance.slider,
                        this.#ends([0.5, 5, 50, 500].map((metres) => `${numeral(metres, 1)} ${unitText('metres')}`)),
                        h('p', { class: 'quiet' }, t('distance_hint')),
                    ],
                    [distance.reading],
                ),
            ),
        );
    }

    async #look() {
        if (this.#sender.isBusy || camera.connection !== 'open') {
            return;
        }
        try {
            const world = await get('/api/world');
            if (!this.#sender.isBusy) {
                this.#take(world);
            }
        } catch (error) {
            camera.noticeFailure(error);
        }
    }

    /** @param {any} world */
    #take(world) {
        this.#world = world;
        this.#refresh();
    }

    /** @param {HTMLInputElement} input */
    #showShare(input) {
        const share = (Number(input.value) - Number(input.min)) / (Number(input.max) - Number(input.min));
        input.style.setProperty('--share', String(share));
    }

    #refresh() {
        const world = this.#world;
        const figure = (/** @type {string} */ name, /** @type {string} */ value) =>
            h('div', {}, h('dt', {}, name), h('dd', {}, value));
        refill(
            this.#figures,
            figure(t('clock'), world.time),
            figure(t('state'), t(world.night ? 'night' : 'day')),
            world.lux === undefined ? null : figure(t('light'), lightText(world.lux)),
            camera.status?.lamps === undefined
                ? null
                : figure(t('lamps'), `${camera.status.lamps} ${unitText('percent')}`),
        );
        for (const { dial, input, reading } of this.#dials) {
            if (!this.#sender.has(dial.name)) {
                const text = dial.reading(world);
                input.value = String(dial.position(world));
                input.setAttribute('aria-valuetext', text);
                reading.textContent = text;
                this.#showShare(input);
            }
        }
        if (document.activeElement !== this.#lux) {
            this.#lux.value = world.lux === undefined ? '' : String(Number(world.lux.toPrecision(3)));
        }
        this.#showSpeed();
        this.#showFaults();
    }

    #showSpeed() {
        const now = this.#world.speed;
        if (this.#speed.dataset.speed === String(now)) {
            return;
        }
        this.#speed.dataset.speed = String(now);
        const speeds = kSpeeds.includes(now) ? kSpeeds : [...kSpeeds, now].sort((a, b) => a - b);
        refill(
            this.#speed,
            segments(
                t('speed'),
                speeds.map((speed) => ({
                    value: String(speed),
                    text: `${numeral(speed, 1)}×`,
                    disabled: this.#isLocked,
                })),
                String(now),
                (speed) => this.#send('speed', Number(speed)),
            ),
        );
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
            this.#send(
                'faults',
                list.map(({ key: number, status, after, count: times }) => ({
                    key: number,
                    status,
                    after,
                    count: times,
                })),
            );
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
