// Zoom, focus and iris: press and hold to move, and how sharp the picture is where.
import { Problem, ask, get } from '../api.js';
import { camera } from '../camera.js';
import { h, icon, refill, s } from '../dom.js';
import { pictureElement } from '../picture.js';
import { parametersIn } from '../style-document.js';
import { numeral, styleText, t } from '../texts.js';
import { Page, action, card, notifyProblem, segments } from '../ui.js';

const kLook = 200; // while something moves
const kPoints = 25; // of a measured focus curve

/** Roles of the lens's keys; their limits and texts are the documents'. */
const kZoom = 1568;
const kFocus = 1552;
const kFocusMode = 1536;
const kByHand = 1;

class LensPage extends Page {
    /** @type {any} */
    #lens = null;
    #state = h('dl', { class: 'figures' });
    #curve = h('div', { class: 'curve' });
    #zoom = { slider: h('input', { type: 'range' }), field: h('input', { type: 'number', inputmode: 'numeric' }) };
    #focus = { slider: h('input', { type: 'range' }), field: h('input', { type: 'number', inputmode: 'numeric' }) };
    #ratio = h('output', { class: 'reading' });
    #mode = h('div', {});
    #measure = h('button', { type: 'button' });
    /** @type {Map<number, number>} */
    #samples = new Map();
    #zoomOfSamples = -1;
    #isMeasuring = false;

    show() {
        void this.#begin();
    }

    async #begin() {
        try {
            this.#lens = await get('/api/lens');
        } catch (error) {
            if (error instanceof Problem && error.code === 'not-on-device') {
                refill(this, h('div', { class: 'empty card' }, icon('lens'), h('p', {}, t('no_lens'))));
                return;
            }
            notifyProblem(error);
            return;
        }
        this.#build();
        this.#refresh();
        this.on('lens', () => void this.#look());
        this.on('status', () => this.#drawCurve()); // as wide as it is now
        this.every(kLook, () => this.#isMoving() && this.#look());
    }

    get #isLocked() {
        return !camera.may('operator');
    }

    #isMoving() {
        return (
            this.#lens &&
            (this.#lens.zoomMoving || this.#lens.focusMoving || this.#lens.irisMoving || this.#lens.resetting)
        );
    }

    #build() {
        this.#prepare(this.#zoom, kZoom, 'zoom');
        this.#prepare(this.#focus, kFocus, 'focus');
        this.#measure.textContent = t('measure_curve');
        this.#measure.onclick = action(() => this.#measureCurve());
        refill(
            this,
            h(
                'div',
                { class: 'lens-picture' },
                pictureElement(true),
                this.#state,
                card(t('focus_curve'), [
                    this.#curve,
                    h(
                        'div',
                        { class: 'buttons start' },
                        this.#measure,
                        h(
                            'button',
                            {
                                type: 'button',
                                onclick: () => {
                                    this.#samples.clear();
                                    this.#drawCurve();
                                },
                            },
                            t('clear'),
                        ),
                    ),
                ]),
            ),
            h(
                'div',
                { class: 'column' },
                card(
                    t('zoom'),
                    [
                        h(
                            'div',
                            { class: 'hold-row' },
                            this.#hold('zoom-out', 'minus', styleText('zoom_out')),
                            h('div', { class: 'slider' }, this.#zoom.slider),
                            this.#hold('zoom-in', 'plus', styleText('zoom_in')),
                            this.#zoom.field,
                        ),
                    ],
                    [this.#ratio],
                ),
                card(t('focus'), [
                    this.#mode,
                    h(
                        'div',
                        { class: 'hold-row' },
                        this.#hold('focus-near', 'minus', styleText('focus_near')),
                        h('div', { class: 'slider' }, this.#focus.slider),
                        this.#hold('focus-far', 'plus', styleText('focus_far')),
                        this.#focus.field,
                    ),
                    h(
                        'div',
                        { class: 'buttons start' },
                        this.#step('focus-once', styleText('focus_once')),
                        this.#step('reset', styleText('lens_reset')),
                    ),
                ]),
                card(t('iris'), [
                    h(
                        'div',
                        { class: 'hold-row' },
                        this.#hold('iris-close', 'minus', t('iris_close')),
                        this.#hold('iris-open', 'plus', t('iris_open')),
                        h('p', { class: 'quiet' }, t('iris_hint')),
                    ),
                ]),
            ),
        );
    }

    /**
     * A position: dragged, or typed.
     * @param {{slider: HTMLInputElement, field: HTMLInputElement}} inputs
     * @param {number} key
     * @param {'zoom' | 'focus'} member
     */
    #prepare(inputs, key, member) {
        const allowed = camera.rows.get(key)?.allowed;
        const label = styleText(`${member}_position`);
        for (const [input, text] of /** @type {[HTMLInputElement, string][]} */ ([
            [inputs.slider, label],
            [inputs.field, `${label}: ${t('exact')}`],
        ])) {
            input.min = String(allowed?.minimum ?? 0);
            input.max = String(allowed?.maximum ?? 1);
            input.step = '1';
            input.disabled = this.#isLocked;
            input.setAttribute('aria-label', text);
            input.onchange = action(() => this.#move('PUT', '/api/lens', { [member]: Number(input.value) }));
        }
    }

    /** @param {string} step @param {string} text */
    #step(step, text) {
        return h(
            'button',
            {
                type: 'button',
                disabled: this.#isLocked,
                onclick: action(() => this.#move('POST', `/api/lens/${step}`)),
            },
            text,
        );
    }

    /**
     * A button that goes on for as long as it is pressed: a step, and the next when the one before is answered.
     * @param {string} step
     * @param {import('../dom.js').IconName} name
     * @param {string} text
     */
    #hold(step, name, text) {
        const kFirstPause = 350;
        const kPause = 120;
        let pressed = 0;
        const go = async (/** @type {number} */ mine) => {
            let pause = kFirstPause;
            while (pressed === mine && this.isConnected) {
                try {
                    await this.#move('POST', `/api/lens/${step}`);
                } catch (error) {
                    notifyProblem(error);
                    return;
                }
                await new Promise((resolve) => setTimeout(resolve, pause));
                pause = kPause;
            }
        };
        let count = 0;
        const begin = () => {
            pressed = ++count;
            void go(pressed);
        };
        const end = () => {
            pressed = 0;
        };
        return h(
            'button',
            {
                type: 'button',
                class: 'icon-button hold',
                'aria-label': text,
                title: `${text} – ${t('press_and_hold')}`,
                disabled: this.#isLocked,
                'data-step': step,
                onpointerdown: (/** @type {PointerEvent} */ event) => event.button === 0 && begin(),
                onpointerup: end,
                onpointerleave: end,
                onpointercancel: end,
                onblur: end,
                oncontextmenu: (/** @type {Event} */ event) => event.preventDefault(),
                onkeydown: (/** @type {KeyboardEvent} */ event) => {
                    if ((event.key === ' ' || event.key === 'Enter') && !event.repeat) {
                        event.preventDefault();
                        begin();
                    }
                },
                onkeyup: end,
            },
            icon(name),
        );
    }

    /** @param {string} method @param {string} path @param {any} [body] */
    async #move(method, path, body) {
        this.#lens = (await ask(method, path, body)).body;
        this.#refresh();
    }

    async #look() {
        try {
            this.#lens = await get('/api/lens');
            this.#refresh();
        } catch (error) {
            camera.noticeFailure(error);
        }
    }

    #refresh() {
        const lens = this.#lens;
        const figure = (/** @type {string} */ name, /** @type {string} */ value, /** @type {boolean} */ isMoving) =>
            h(
                'div',
                {},
                h('dt', {}, name, isMoving ? h('span', { class: 'moving' }, ` · ${t('moving')}`) : null),
                h('dd', {}, value),
            );
        this.#ratio.textContent = `${numeral(lens.ratio / 1000, 2)}×`;
        refill(
            this.#state,
            figure(styleText('zoom_position'), numeral(lens.zoom), lens.zoomMoving),
            figure(styleText('focus_position'), numeral(lens.focus), lens.focusMoving),
            figure(t('iris'), String(lens.iris), lens.irisMoving),
            figure(t('sharpness_measure'), numeral(lens.sharpness), false),
            lens.resetting ? figure(t('state'), t('lens_resetting'), true) : null,
        );
        for (const [inputs, value] of /** @type {[{slider: HTMLInputElement, field: HTMLInputElement}, number][]} */ ([
            [this.#zoom, lens.zoom],
            [this.#focus, lens.focus],
        ])) {
            const { slider, field } = inputs;
            if (document.activeElement !== slider || !this.#isMoving()) {
                slider.value = String(value);
            }
            if (document.activeElement !== field) {
                field.value = String(value);
            }
            const share = (value - Number(slider.min)) / (Number(slider.max) - Number(slider.min));
            slider.style.setProperty('--share', String(share));
        }
        const isByHand = !this.#isLocked && lens.focusMode === kByHand;
        this.#focus.slider.disabled = !isByHand;
        this.#focus.field.disabled = !isByHand;
        this.#measure.disabled = this.#isLocked || this.#isMeasuring;
        this.#showMode();
        if (lens.zoom !== this.#zoomOfSamples) {
            this.#samples.clear(); // another zoom has another curve
            this.#zoomOfSamples = lens.zoom;
        }
        this.#samples.set(lens.focus, lens.sharpness);
        this.#drawCurve();
    }

    #showMode() {
        const control = parametersIn(camera.tabs).find((parameter) => parameter.control.key === kFocusMode)?.control;
        const wanted = String(this.#lens.focusMode);
        if (!control || this.#mode.dataset.mode === wanted) {
            return;
        }
        this.#mode.dataset.mode = wanted;
        refill(
            this.#mode,
            segments(
                styleText(control.text),
                control.choices.map((choice) => ({
                    value: String(choice.value),
                    text: choice.label || styleText(choice.text),
                    disabled: this.#isLocked,
                })),
                wanted,
                (value) => void action(() => this.#move('PUT', '/api/lens', { focusMode: Number(value) }))(),
            ),
        );
    }

    // ---- how sharp it is where -------------------------------------------------------------------------------------

    async #atRest() {
        for (let i = 0; i < 100 && this.isConnected; i++) {
            this.#lens = await get('/api/lens');
            if (!this.#isMoving()) {
                return;
            }
            this.#refresh();
            await new Promise((resolve) => setTimeout(resolve, 60));
        }
    }

    /** By hand from end to end, and then to where it was sharpest. */
    async #measureCurve() {
        const mode = this.#lens.focusMode;
        this.#isMeasuring = true;
        try {
            await this.#move('PUT', '/api/lens', { focusMode: kByHand });
            const [min, max] = [Number(this.#focus.slider.min), Number(this.#focus.slider.max)];
            for (let i = 0; i <= kPoints && this.isConnected; i++) {
                await this.#move('PUT', '/api/lens', { focus: Math.round(min + ((max - min) * i) / kPoints) });
                await this.#atRest();
                this.#refresh();
            }
            const best = [...this.#samples].sort((a, b) => b[1] - a[1])[0];
            await this.#move('PUT', '/api/lens', { focus: best[0] });
            await this.#atRest();
        } finally {
            this.#isMeasuring = false;
            await this.#move('PUT', '/api/lens', { focusMode: mode });
        }
    }

    #drawCurve() {
        const [min, max] = [Number(this.#focus.slider.min), Number(this.#focus.slider.max)];
        const points = [...this.#samples].sort((a, b) => a[0] - b[0]);
        const top = Math.max(1, ...points.map((point) => point[1]));
        const width = this.#curve.clientWidth || 600;
        const [left, right, ground, roof] = [6, width - 6, 144, 24];
        const x = (/** @type {number} */ focus) => left + ((focus - min) / (max - min)) * (right - left);
        const y = (/** @type {number} */ sharpness) => ground - (sharpness / top) * (ground - roof);
        const lens = this.#lens;
        const best = [...points].sort((a, b) => b[1] - a[1])[0];
        const label = (/** @type {number} */ at, /** @type {string} */ anchor, /** @type {string} */ text) =>
            s('text', { x: at, y: 164, 'text-anchor': anchor }, text);
        refill(
            this.#curve,
            s(
                'svg',
                { viewBox: `0 0 ${width} 168`, role: 'img', 'aria-label': t('curve_text', numeral(best?.[0] ?? 0)) },
                s('path', {
                    class: 'grid',
                    d: `M${left} ${roof}H${right}M${left} ${(roof + ground) / 2}H${right}M${left} ${ground}H${right}`,
                }),
                label(left, 'start', numeral(min)),
                label(width / 2, 'middle', styleText('focus_position')),
                label(right, 'end', numeral(max)),
                s('text', { x: left, y: 12 }, `${t('sharpness_measure')}, ${t('most', numeral(top))}`),
                s('polyline', { points: points.map(([focus, sharpness]) => `${x(focus)},${y(sharpness)}`).join(' ') }),
                points.map(([focus, sharpness]) =>
                    s('circle', { class: 'point', cx: x(focus), cy: y(sharpness), r: 2 }),
                ),
                s('line', { class: 'here', x1: x(lens.focus), x2: x(lens.focus), y1: roof, y2: ground }),
                s('circle', { class: 'here', cx: x(lens.focus), cy: y(lens.sharpness), r: 5 }),
            ),
            points.length > 1 ? null : h('p', { class: 'quiet' }, t('curve_hint')),
        );
    }
}
customElements.define('sc-lens', LensPage);
