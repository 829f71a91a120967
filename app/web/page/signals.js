// What the picture is made with, over the last minutes, and how its brightness is spread.
import { h, refill, s } from './dom.js';
import { exposureText, lightText } from './picture.js';
import { numeral, t } from './texts.js';
import { Page } from './ui.js';

/** @typedef {import('./frames.js').Frame} Frame */

const kBetween = 500; // milliseconds between two points
const kPoints = 240; // two minutes
const kHistogramBetween = 200;
const kBins = 64;
const kWidth = 240;
const kHeight = 48;

/** @type {{name: string, of: (frame: Frame) => number, scale: (value: number) => number, span: number, text: (value: number) => string}[]} */
const kCurves = [
    {
        name: 'light',
        of: (frame) => frame.light,
        scale: (lux) => Math.log10(Math.max(lux, 0.01)),
        span: 2,
        text: lightText,
    },
    {
        name: 'exposure',
        of: (frame) => frame.exposure,
        scale: (seconds) => Math.log2(seconds),
        span: 4,
        text: exposureText,
    },
    {
        name: 'gain',
        of: (frame) => frame.gain,
        scale: (gain) => gain,
        span: 12,
        text: (gain) => `${numeral(gain, 1)} dB`,
    },
];

/** A path over the whole width, from shares of the height. @param {number[]} shares @param {number} width of all of them */
function pathOf(shares, width) {
    const step = width / Math.max(1, shares.length - 1);
    const y = (/** @type {number} */ share) => (kHeight - 2 - share * (kHeight - 4)).toFixed(1);
    return shares
        .map((share, i) => `${i === 0 ? 'M' : 'L'}${(kWidth - width + i * step).toFixed(1)} ${y(share)}`)
        .join('');
}

class SignalsElement extends Page {
    /** @type {import('./picture.js').PictureElement} */
    picture = /** @type {any} */ (null);
    /** @type {Frame[]} */
    #frames = [];
    #last = -Infinity;
    #lastHistogram = -Infinity;
    #sample = h('canvas', { width: 160, height: 90 });
    #values = new Map(kCurves.map(({ name }) => [name, h('dd')]));
    #curves = new Map(kCurves.map(({ name }) => [name, s('svg', this.#box())]));
    #histogram = s('svg', this.#box());
    #clipped = h('dd');

    #box() {
        return { viewBox: `0 0 ${kWidth} ${kHeight}`, preserveAspectRatio: 'none', 'aria-hidden': 'true' };
    }

    show() {
        this.className = 'signals';
        const cell = (
            /** @type {string} */ text,
            /** @type {HTMLElement} */ value,
            /** @type {SVGElement} */ drawing,
        ) => h('div', {}, h('dt', {}, t(text)), value, drawing);
        refill(
            this,
            h(
                'dl',
                { 'aria-label': t('signals') },
                cell('histogram', this.#clipped, this.#histogram),
                kCurves.map(({ name }) =>
                    cell(
                        name,
                        /** @type {HTMLElement} */ (this.#values.get(name)),
                        /** @type {SVGElement} */ (this.#curves.get(name)),
                    ),
                ),
            ),
        );
        this.picture.addEventListener('frame', (event) => this.#take(/** @type {CustomEvent} */ (event).detail), {
            signal: this.signal,
        });
    }

    /** @param {Frame} frame */
    #take(frame) {
        const now = performance.now();
        if (now - this.#lastHistogram >= kHistogramBetween) {
            this.#lastHistogram = now;
            this.#drawHistogram();
        }
        if (now - this.#last >= kBetween) {
            this.#last = now;
            this.#frames = [...this.#frames, frame].slice(-kPoints);
            this.#drawCurves(frame);
        }
    }

    /** @param {Frame} frame the last one */
    #drawCurves(frame) {
        const frames = this.#frames;
        const width = (kWidth * (frames.length - 1)) / (kPoints - 1);
        const nights = frames.map((one) => (one.night ? 1 : 0));
        for (const { name, of, scale, span, text } of kCurves) {
            const values = frames.map((one) => scale(of(one)));
            const [low, high] = [Math.min(...values), Math.max(...values)];
            const margin = Math.max(0, span - (high - low)) / 2; // a curve that hardly moves is not blown up
            const shares = values.map((value) => (value - low + margin) / (high - low + 2 * margin));
            const line = pathOf(shares, width);
            const night = pathOf(nights, width);
            refill(
                /** @type {SVGElement} */ (this.#curves.get(name)),
                nights.includes(1) ? s('path', { class: 'night', d: `${night}V${kHeight}H${kWidth - width}Z` }) : null,
                s('path', { class: 'area', d: `${line}V${kHeight}H${kWidth - width}Z` }),
                s('path', { class: 'line', d: line }),
            );
            /** @type {HTMLElement} */ (this.#values.get(name)).textContent = text(of(frame));
        }
    }

    #drawHistogram() {
        const context = this.#sample.getContext('2d', { willReadFrequently: true });
        if (!context) {
            return;
        }
        this.picture.copyTo(context);
        const { data } = context.getImageData(0, 0, this.#sample.width, this.#sample.height);
        const counts = ['red', 'green', 'blue'].map((name) => ({ name, bins: new Array(kBins).fill(0) }));
        const pixels = data.length / 4;
        let dark = 0;
        let bright = 0;
        for (let i = 0; i < data.length; i += 4) {
            counts.forEach(({ bins }, channel) => bins[data[i + channel] >> 2]++);
            const light = Math.max(data[i], data[i + 1], data[i + 2]);
            dark += light < 4 ? 1 : 0;
            bright += light > 252 ? 1 : 0;
        }
        const top = Math.max(...counts.flatMap(({ bins }) => bins.slice(1, -1)), 1);
        refill(
            this.#histogram,
            counts.map(({ name, bins }) =>
                s('path', {
                    class: name,
                    d: `${pathOf(
                        bins.map((count) => Math.min(1, count / top)),
                        kWidth,
                    )}V${kHeight}H0Z`,
                }),
            ),
        );
        const share = (/** @type {number} */ count) => numeral((count * 100) / pixels, 1);
        this.#clipped.textContent = t('clipped', share(dark), share(bright));
    }
}
customElements.define('sc-signals', SignalsElement);

/** @param {import('./picture.js').PictureElement} picture */
export function signalsElement(picture) {
    const element = /** @type {SignalsElement} */ (document.createElement('sc-signals'));
    element.picture = picture;
    return element;
}
