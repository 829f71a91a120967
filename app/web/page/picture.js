// The live picture: read frame by frame, so that the page knows each frame's number and what it was taken with.
import { Problem } from './api.js';
import { camera } from './camera.js';
import { h, icon, iconButton, refill } from './dom.js';
import { framesIn } from './frames.js';
import { numeral, t } from './texts.js';
import { Page, downloadBlob } from './ui.js';
import { View } from './view.js';

/** @typedef {import('./frames.js').Frame} Frame */

const kRetry = 2000; // milliseconds
const kMeasured = 2000;

/** @param {number} seconds */
export function exposureText(seconds) {
    return seconds >= 0.3 ? `${numeral(seconds, 1)} s` : `1/${Math.round(1 / seconds)} s`;
}

/** @param {number} lux */
export function lightText(lux) {
    return `${numeral(lux, lux < 10 ? 1 : 0)} ${t('unit_lux')}`;
}

/** Texts: what they say when there is no picture. */
const kStates = {
    connecting: 'picture_connecting',
    none: 'picture_none',
    waiting: 'picture_waiting',
    lost: 'disconnected',
};

/** The picture with its tools. data-frame: the number of the frame that is shown; data-state: "live", or a reason. */
export class PictureElement extends Page {
    /** Without tools: beside the controls of another page. */
    isSmall = false;
    #canvas = h('canvas', { width: 1280, height: 720, role: 'img' });
    #before = h('canvas', { 'aria-hidden': 'true' });
    #beforeSide = h('div', { class: 'before', hidden: true }, this.#before);
    #stage = h('div', { class: 'stage' });
    #facts = new Map(['day', 'rate', 'exposure', 'gain', 'light', 'number', 'frozen'].map((name) => [name, h('span')]));
    #overlay = h('div', { class: 'overlay', hidden: true }, ...this.#facts.values());
    #state = h('div', { class: 'no-picture' });
    #view = new View(this.#stage, () => this.#place());
    /** @type {Frame | null} */
    #frame = null;
    #isHeld = false;
    /** Was there a trial when it was last looked at? */
    #wasTrying = false;
    #reading = new AbortController();
    #photo = h('button');
    #try = h('button');
    #zoom = h('output', { class: 'zoom-value' }, '1×');
    /** When frames were drawn. @type {number[]} */
    #drawn = [];
    #divider = h('input', { type: 'range', min: 0, max: 100, value: 50, class: 'divider', hidden: true });

    show() {
        this.classList.add('picture');
        this.classList.toggle('small', this.isSmall);
        this.#canvas.setAttribute('aria-label', t('live_picture'));
        this.#divider.setAttribute('aria-label', t('compare_divider'));
        this.#divider.oninput = () => this.#drawDivider();
        refill(this.#stage, this.#canvas, this.#beforeSide, this.#divider, this.#overlay, this.#state);
        refill(this, this.#stage, this.isSmall ? null : this.#tools());
        this.#say('connecting');
        if (!this.isSmall) {
            this.#stage.tabIndex = 0;
            this.#stage.setAttribute('role', 'group');
            this.#stage.setAttribute('aria-label', t('picture_keys'));
            this.#view.listen(this.signal);
            this.on('trial', () => this.#compareTrial());
            this.#wasTrying = camera.trials.isOn; // its picture before is not to be had any more
            this.#compareTrial();
        }
        this.on('connection', () => this.#restart());
        document.addEventListener('visibilitychange', () => this.#restart(), { signal: this.signal });
        this.#restart();
    }

    leave() {
        this.#reading.abort();
    }

    /** What is shown now, for whoever measures it. @param {CanvasRenderingContext2D} context */
    copyTo(context) {
        context.drawImage(this.#canvas, 0, 0, context.canvas.width, context.canvas.height);
    }

    // ---- reading ---------------------------------------------------------------------------------------------------

    #restart() {
        this.#reading.abort();
        this.#reading = new AbortController();
        this.#drawn = [];
        if (camera.connection === 'open' && !document.hidden && !this.#isHeld) {
            void this.#read(this.#reading.signal);
        } else if (camera.connection === 'lost' && !this.#isHeld) {
            this.#say('lost');
        }
    }

    /** @param {AbortSignal} signal */
    async #read(signal) {
        let why = '';
        try {
            const response = await fetch('/api/stream.mjpg', { signal });
            if (!response.ok || !response.body) {
                throw new Problem(response.status, await response.json().catch(() => ({})));
            }
            await this.#showAll(response.body, signal);
        } catch (error) {
            if (signal.aborted) {
                return;
            }
            if (error instanceof Problem && error.status === 404) {
                this.#say('none'); // and there never will be
                return;
            }
            why = error instanceof Problem ? error.message : '';
        }
        this.#say('waiting', why);
        setTimeout(() => signal.aborted || void this.#read(signal), kRetry);
    }

    /** Of frames that come faster than they are drawn, the last. @param {ReadableStream<Uint8Array<ArrayBuffer>>} body @param {AbortSignal} signal */
    async #showAll(body, signal) {
        /** @type {Frame | null} */
        let next = null;
        let isBusy = false;
        let isFailing = false;
        const draw = async () => {
            isBusy = true;
            while (next && !signal.aborted) {
                const frame = /** @type {Frame} */ (next);
                next = null;
                const picture = await createImageBitmap(frame.jpeg).catch(() => null);
                if (picture && !signal.aborted && !isFailing) {
                    this.#draw(picture, frame);
                }
                picture?.close();
            }
            isBusy = false;
        };
        for await (const frame of framesIn(body)) {
            isFailing = frame.problem !== '';
            if (isFailing) {
                next = null;
                this.#say('waiting', frame.problem); // with an earlier frame
                continue;
            }
            next = frame;
            if (!isBusy) {
                void draw();
            }
        }
    }

    /** @param {ImageBitmap} picture @param {Frame} frame */
    #draw(picture, frame) {
        const canvas = this.#canvas;
        if (canvas.width !== picture.width || canvas.height !== picture.height) {
            canvas.width = picture.width;
            canvas.height = picture.height;
            this.classList.toggle('portrait', picture.height > picture.width);
        }
        canvas.getContext('2d', { alpha: false })?.drawImage(picture, 0, 0);
        this.#frame = frame;
        this.dataset.frame = String(frame.number);
        if (this.dataset.state !== 'live') {
            this.dataset.state = 'live';
            this.#state.hidden = true;
            this.#overlay.hidden = false;
            this.#photo.disabled = false;
            this.classList.add('has-picture');
        }
        this.#tell(frame);
        this.dispatchEvent(new CustomEvent('frame', { detail: frame }));
    }

    /** Frames in a second, as they are drawn here. */
    #rate() {
        const now = performance.now();
        this.#drawn.push(now);
        while (now - this.#drawn[0] > kMeasured) {
            this.#drawn.shift();
        }
        const took = now - this.#drawn[0];
        return took > kMeasured / 4 ? numeral(((this.#drawn.length - 1) * 1000) / took) : '–';
    }

    /** @param {Frame} frame */
    #tell(frame) {
        const facts = {
            day: frame.night ? t('night') : t('day'),
            rate: `${this.#rate()}/${numeral(frame.rate)} ${t('frames_per_second')}`,
            exposure: exposureText(frame.exposure),
            gain: `${numeral(frame.gain, 1)} dB`,
            light: lightText(frame.light),
            number: `#${frame.number}`,
            frozen: frame.frozen ? t('frozen') : '',
        };
        for (const [name, text] of Object.entries(facts)) {
            const element = /** @type {HTMLElement} */ (this.#facts.get(name));
            if (element.textContent !== text) {
                element.textContent = text;
            }
        }
    }

    /** There is no picture now; the last one stays in the background. @param {keyof kStates} state @param {string} [why] */
    #say(state, why = '') {
        this.dataset.state = state;
        this.#drawn = [];
        this.#state.hidden = false;
        this.#overlay.hidden = true;
        this.#photo.disabled = true;
        this.classList.remove('has-picture');
        refill(
            this.#state,
            icon(state === 'lost' ? 'offline' : 'live'),
            h('p', {}, t(kStates[state])),
            why && !this.isSmall ? h('p', { class: 'quiet' }, why) : null,
        );
    }

    // ---- tools -----------------------------------------------------------------------------------------------------

    #tools() {
        const hold = iconButton('pause', t('picture_hold'), () => this.#hold(hold), { 'aria-pressed': 'false' });
        const facts = iconButton(
            'info',
            t('picture_facts'),
            () => facts.setAttribute('aria-pressed', String(!this.classList.toggle('bare'))),
            { 'aria-pressed': 'true' },
        );
        this.#photo = iconButton('photo', t('picture_snapshot'), () => this.#snapshot(), { disabled: true });
        this.#try = h(
            'button',
            { type: 'button', class: 'try', onclick: () => camera.beginTrying() },
            icon('compare'),
            h('span', {}, t('try_out')),
        );
        this.#try.disabled = !camera.may('operator');
        return h(
            'div',
            { class: 'tools', role: 'toolbar', 'aria-label': t('picture_tools') },
            hold,
            this.#photo,
            facts,
            this.#try,
            h('span', { class: 'gap' }),
            iconButton('minus', t('view_smaller'), () => this.#view.smaller()),
            this.#zoom,
            iconButton('plus', t('view_larger'), () => this.#view.larger()),
            iconButton('fit', t('view_fit'), () => this.#view.zoomTo(1)),
            document.fullscreenEnabled
                ? iconButton(
                      'full',
                      t('full_screen'),
                      () => void (document.fullscreenElement ? document.exitFullscreen() : this.requestFullscreen()),
                  )
                : null,
        );
    }

    /** @param {HTMLButtonElement} button */
    #hold(button) {
        this.#isHeld = !this.#isHeld;
        refill(button, icon(this.#isHeld ? 'play' : 'pause'));
        button.setAttribute('aria-pressed', String(this.#isHeld));
        this.classList.toggle('held', this.#isHeld);
        this.#restart();
    }

    #snapshot() {
        if (this.#frame) {
            downloadBlob(this.#frame.jpeg, `snapshot-${this.#frame.number}.jpg`);
        }
    }

    #place() {
        const { zoom, transform } = this.#view;
        this.#canvas.style.transform = transform;
        this.#before.style.transform = transform;
        this.#stage.classList.toggle('zoomed', zoom > 1);
        this.#zoom.textContent = `${numeral(zoom, 1)}×`;
    }

    // ---- before and after ------------------------------------------------------------------------------------------

    /** The picture as it is now stays as the left half. */
    #compareTrial() {
        const { isOn } = camera.trials;
        const begins = isOn && !this.#wasTrying && this.classList.contains('has-picture');
        this.#wasTrying = isOn;
        this.#try.hidden = isOn;
        if (begins) {
            this.#before.width = this.#canvas.width;
            this.#before.height = this.#canvas.height;
            this.#before.getContext('2d')?.drawImage(this.#canvas, 0, 0);
        }
        if (begins || !isOn) {
            this.#beforeSide.hidden = !begins;
            this.#divider.hidden = !begins;
            this.classList.toggle('comparing', begins);
            this.#stage.dataset.before = t('before');
            this.#stage.dataset.after = t('after');
        }
        this.#drawDivider();
    }

    #drawDivider() {
        this.#stage.style.setProperty('--divide', this.#divider.value);
    }
}
customElements.define('sc-picture', PictureElement);

/** @param {boolean} isSmall */
export function pictureElement(isSmall) {
    const element = /** @type {PictureElement} */ (document.createElement('sc-picture'));
    element.isSmall = isSmall;
    return element;
}
