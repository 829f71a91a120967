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

class LensPage extends Page {
    /** @type {any} */
    #lens = null;
    #state = h('dl', { class: 'figures' });
    #curve = h('div', { class: 'curve' });
    #zoom = h('input', { type: 'range' });
    #focus = h('input', { type: 'range' });
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
        for (const [input, key, member] of /** @type {[HTMLInputElement, number, string][]} */ ([
            [this.#zoom, kZoom, 'zoom'],
            [this.#focus, kFocus, 'focus'],
        ])) {
            const allowed = camera.rows.get(key)?.allowed;
            input.min = String(allowed?.minimum ?? 0);
            input.max = String(allowed?.maximum ?? 1);
            input.step = '1';
            input.disabled = this.#isLocked;
            input.setAttribute('aria-label', styleText(member === 'zoom' ? 'zoom_position' : 'focus_position'));
            input.onchange = action(() => this.#move('PUT', '/api/lens', { [member]: Number(input.value) }));
        }
        this.#measure.textContent = t('measure_curve');
        this.#measure.onclick = action(() => this.#measureCurve());
        refill(
            this,
            h('div', { class: 'lens-picture' }, pictureElement(true), this.#state),
            h(
                'div',
                { class: 'lens-controls' },
                card(t('zoom'), [
                    h(
                        'div',
                        { class: 'hold-row' },
                        this.#hold('zoom-out', 'minus', styleText('zoom_out')),
                        h('div', { class: 'slider' }, this.#zoom),
                        this.#hold('zoom-in', 'plus', styleText('zoom_in')),
                    ),
                ]),
                card(t('focus'), [
                    this.#mode,
                    h(
                        'div',
                        { class: 'hold-row' },
                        this.#hold('focus-near', 'minus', styleText('focus_near')),
                        h('div', { class: 'slider' }, this.#focus),
                        this.#hold('focus-far', 'plus', styleText('focus_far')),
                    ),
                    h(
                        'div',
                        { class: 'buttons start' },
                        h(
                            'button',
                            {
                                type: 'button',
                                disabled: this.#isLocked,
                                onclick: action(() => this.#move('POST', '/api/lens/focus-once')),
                            },
                            styleText('focus_once'),
                        ),
                    ),
                ]),
                card(t('iris'), [
                    h(
                        'div',
                        { class: 'buttons start' },
                        this.#hold('iris-close', 'minus', t('iris_close')),
                        this.#hold('iris-open', 'plus', t('iris_open')),
                    ),
                    h('p', { class: 'quiet' }, t('iris_hint')),
                ]),
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
                card(t('maintenance'), [
                    h(
                        'div',
                        { class: 'buttons start' },
                        h(
                            'button',
                            {
                                type: 'button',
                                disabled: this.#isLocked,
                                onclick: action(() => this.#move('POST', '/api/lens/reset')),
                            },
                            styleText('lens_reset'),
                        ),
                    ),
                ]),
            ),
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
            while (pressed === mine) {
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
        const moving = (/** @type {boolean} */ is) =>
            h('span', { class: is ? 'badge' : 'badge idle' }, is ? t('moving') : t('idle'));
        const figure = (/** @type {string} */ name, /** @type {string} */ value, /** @type {Node | null} */ beside) =>
            h('div', {}, h('dt', {}, name), h('dd', {}, value, beside));
        refill(
            this.#state,
            figure(t('zoom'), `${numeral(lens.ratio / 1000, 2)}×`, moving(lens.zoomMoving)),
            figure(styleText('zoom_position'), numeral(lens.zoom), null),
            figure(styleText('focus_position'), numeral(lens.focus), moving(lens.focusMoving)),
            figure(t('iris'), String(lens.iris), moving(lens.irisMoving)),
            figure(
                t('sharpness_measure'),
                numeral(lens.sharpness),
                lens.resetting ? h('span', { class: 'badge' }, t('lens_resetting')) : null,
            ),
        );
        for (const [input, value] of /** @type {[HTMLInputElement, number][]} */ ([
            [this.#zoom, lens.zoom],
            [this.#focus, lens.focus],
        ])) {
            if (document.activeElement !== input || !this.#isMoving()) {
                input.value = String(value);
            }
            input.style.setProperty(
                '--share',
                String((value - Number(input.min)) / (Number(input.max) - Number(input.min))),
            );
        }
        this.#focus.disabled = this.#isLocked || lens.focusMode !== 1;
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
            await this.#move('PUT', '/api/lens', { focusMode: 1 });
            const [min, max] = [Number(this.#focus.min), Number(this.#focus.max)];
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
        const [min, max] = [Number(this.#focus.min), Number(this.#focus.max)];
        const points = [...this.#samples].sort((a, b) => a[0] - b[0]);
        const top = Math.max(1, ...points.map((point) => point[1]));
        const x = (/** @type {number} */ focus) => 40 + ((focus - min) / (max - min)) * 544;
        const y = (/** @type {number} */ sharpness) => 164 - (sharpness / top) * 148;
        const lens = this.#lens;
        const best = [...points].sort((a, b) => b[1] - a[1])[0];
        refill(
            this.#curve,
            s(
                'svg',
                { viewBox: '0 0 600 200', role: 'img', 'aria-label': t('curve_text', numeral(best?.[0] ?? 0)) },
                s('path', { class: 'grid', d: 'M40 16H584M40 90H584M40 164H584' }),
                s('text', { x: 40, y: 186 }, numeral(min)),
                s('text', { x: 584, y: 186, 'text-anchor': 'end' }, numeral(max)),
                s('text', { x: 312, y: 186, 'text-anchor': 'middle' }, styleText('focus_position')),
                s('polyline', { points: points.map(([focus, sharpness]) => `${x(focus)},${y(sharpness)}`).join(' ') }),
                points.map(([focus, sharpness]) =>
                    s('circle', { class: 'point', cx: x(focus), cy: y(sharpness), r: 2.5 }),
                ),
                s('line', { class: 'here', x1: x(lens.focus), x2: x(lens.focus), y1: 12, y2: 164 }),
                s('circle', { class: 'here', cx: x(lens.focus), cy: y(lens.sharpness), r: 5 }),
            ),
        );
    }
}
customElements.define('sc-lens', LensPage);
