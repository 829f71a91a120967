// The live picture: read frame by frame, so that the page knows each frame's number and what it was taken with.
import { Problem } from './api.js';
import { camera } from './camera.js';
import { h, icon, iconButton, newId, refill } from './dom.js';
import { numeral, t } from './texts.js';
import { Page, downloadBlob } from './ui.js';

/**
 * @typedef {object} Frame
 * @property {Blob} jpeg
 * @property {number} number
 * @property {number} time
 * @property {number} exposure seconds
 * @property {number} gain decibels
 * @property {number} rate frames in a second
 * @property {number} light lux
 * @property {boolean} night
 * @property {boolean} frozen
 */

const kRetry = 2000;
const kMostZoom = 8;

/** @param {Uint8Array} bytes @param {number} from */
function endOfHead(bytes, from) {
    for (let i = from; i + 3 < bytes.length; i++) {
        if (bytes[i] === 13 && bytes[i + 1] === 10 && bytes[i + 2] === 13 && bytes[i + 3] === 10) {
            return i;
        }
    }
    return -1;
}

/** @param {string} head */
function headersIn(head) {
    return new Map(
        head
            .split('\r\n')
            .filter((line) => line.includes(':'))
            .map((line) => {
                const colon = line.indexOf(':');
                return [line.slice(0, colon).trim().toLowerCase(), line.slice(colon + 1).trim()];
            }),
    );
}

/** @param {Map<string, string>} head @param {Uint8Array<ArrayBuffer>} jpeg @returns {Frame} */
function frameOf(head, jpeg) {
    const number = (/** @type {string} */ name) => Number(head.get(`x-frame-${name}`) ?? NaN);
    const flag = (/** @type {string} */ name) => ['1', 'true', 'yes'].includes(head.get(`x-frame-${name}`) ?? '');
    return {
        jpeg: new Blob([jpeg], { type: 'image/jpeg' }),
        number: number('number'),
        time: number('time'),
        exposure: number('exposure'),
        gain: number('gain'),
        rate: number('rate'),
        light: number('light'),
        night: flag('night'),
        frozen: flag('frozen'),
    };
}

/**
 * The parts of multipart/x-mixed-replace, each with its length.
 * @param {ReadableStream<Uint8Array<ArrayBuffer>>} stream
 * @returns {AsyncGenerator<Frame>}
 */
export async function* framesIn(stream) {
    const reader = stream.getReader();
    let kept = new Uint8Array(0);
    try {
        while (true) {
            const end = endOfHead(kept, 0);
            const head = end < 0 ? null : headersIn(new TextDecoder().decode(kept.subarray(0, end)));
            const length = Number(head?.get('content-length') ?? NaN);
            if (head && kept.length >= end + 4 + length) {
                yield frameOf(head, kept.slice(end + 4, end + 4 + length));
                kept = kept.slice(end + 4 + length);
                continue;
            }
            const { done, value } = await reader.read();
            if (done) {
                return;
            }
            const joined = new Uint8Array(kept.length + value.length);
            joined.set(kept);
            joined.set(value, kept.length);
            kept = joined;
        }
    } finally {
        void reader.cancel().catch(() => {});
    }
}

/** @param {number} seconds */
function exposureText(seconds) {
    return seconds >= 0.3 ? `${numeral(seconds, 1)} s` : `1/${Math.round(1 / seconds)} s`;
}

/** The picture with its tools. */
class PictureElement extends Page {
    /** Without tools: beside the controls of another page. */
    isSmall = false;
    #canvas = h('canvas', { width: 1280, height: 720, role: 'img' });
    #before = h('canvas', { class: 'before', hidden: true, 'aria-hidden': 'true' });
    #stage = h('div', { class: 'stage' });
    #overlay = h('div', { class: 'overlay' });
    #state = h('div', { class: 'no-picture' });
    /** @type {Frame | null} */
    #frame = null;
    #isHeld = false;
    #zoom = 1;
    #at = { x: 0, y: 0 };
    #reading = new AbortController();
    #photo = h('button');
    #rate = { since: 0, frames: 0, shown: 0 };
    #divider = h('input', { type: 'range', min: 0, max: 100, value: 50, class: 'divider', hidden: true });

    show() {
        this.classList.add('picture');
        this.classList.toggle('small', this.isSmall);
        this.#canvas.setAttribute('aria-label', t('live_picture'));
        this.#divider.setAttribute('aria-label', t('compare_divider'));
        this.#divider.oninput = () => this.#drawDivider();
        refill(this.#stage, this.#canvas, this.#before, this.#divider, this.#state, this.#overlay);
        refill(this, this.#stage, this.isSmall ? null : this.#tools());
        this.#say('connecting');
        this.#listen();
        this.on('connection', () => this.#restart());
        document.addEventListener('visibilitychange', () => this.#restart(), { signal: this.signal });
        this.on('trial', () => this.#compareTrial());
        this.#restart();
    }

    leave() {
        this.#reading.abort();
    }

    // ---- reading ---------------------------------------------------------------------------------------------------

    #restart() {
        this.#reading.abort();
        this.#reading = new AbortController();
        if (camera.connection === 'open' && !document.hidden && !this.#isHeld) {
            void this.#read(this.#reading.signal);
        } else if (camera.connection === 'lost') {
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

    /** @param {ReadableStream<Uint8Array<ArrayBuffer>>} body @param {AbortSignal} signal */
    async #showAll(body, signal) {
        /** @type {Frame | null} */
        let next = null;
        let isBusy = false;
        const draw = async () => {
            isBusy = true;
            while (next && !signal.aborted) {
                // of frames that come faster than they are drawn, the last
                const frame = /** @type {Frame} */ (next);
                next = null;
                const picture = await createImageBitmap(frame.jpeg);
                this.#draw(picture, frame);
                picture.close();
            }
            isBusy = false;
        };
        for await (const frame of framesIn(body)) {
            next = frame;
            if (!isBusy) {
                draw().catch(() => {
                    isBusy = false; // a frame that is no picture
                });
            }
        }
    }

    /** @param {ImageBitmap} picture @param {Frame} frame */
    #draw(picture, frame) {
        if (this.#canvas.width !== picture.width || this.#canvas.height !== picture.height) {
            this.#canvas.width = picture.width;
            this.#canvas.height = picture.height;
        }
        this.#canvas.getContext('2d')?.drawImage(picture, 0, 0);
        this.#frame = frame;
        this.dataset.frame = String(frame.number);
        this.#state.hidden = true;
        this.#photo.disabled = false;
        this.classList.add('has-picture');
        this.#count();
        this.#tell(frame);
        this.dispatchEvent(new CustomEvent('frame', { detail: frame }));
    }

    #count() {
        const now = performance.now();
        this.#rate.frames++;
        if (now - this.#rate.since >= 1000) {
            this.#rate = { since: now, frames: 0, shown: (this.#rate.frames * 1000) / (now - this.#rate.since) };
        }
    }

    /** @param {Frame} frame */
    #tell(frame) {
        const facts = [
            frame.night ? t('night') : t('day'),
            `${numeral(this.#rate.shown)}/${numeral(frame.rate)} ${t('frames_per_second')}`,
            exposureText(frame.exposure),
            `${numeral(frame.gain, 1)} dB`,
            `${numeral(frame.light, frame.light < 10 ? 1 : 0)} ${t('unit_lux')}`,
            `#${frame.number}`,
            frame.frozen ? t('frozen') : '',
        ].filter((fact) => fact !== '' && !fact.includes('NaN'));
        refill(
            this.#overlay,
            facts.map((fact) => h('span', {}, fact)),
        );
    }

    /** @param {'connecting' | 'none' | 'waiting' | 'lost'} state @param {string} [why] */
    #say(state, why = '') {
        this.#state.hidden = false;
        this.classList.remove('has-picture');
        refill(this.#overlay);
        this.#photo.disabled = true;
        const texts = {
            connecting: 'picture_connecting',
            none: 'picture_none',
            waiting: 'picture_waiting',
            lost: 'disconnected',
        };
        refill(
            this.#state,
            icon(state === 'lost' ? 'offline' : 'live'),
            h('p', {}, t(texts[state])),
            why && !this.isSmall ? h('p', { class: 'quiet' }, why) : null,
        );
    }

    // ---- tools -----------------------------------------------------------------------------------------------------

    #tools() {
        this.#photo = iconButton('photo', t('picture_snapshot'), () => this.#snapshot());
        const hold = iconButton(
            'pause',
            t('picture_hold'),
            () => {
                this.#isHeld = !this.#isHeld;
                hold.setAttribute('aria-pressed', String(this.#isHeld));
                this.classList.toggle('held', this.#isHeld);
                this.#restart();
            },
            { 'aria-pressed': 'false' },
        );
        return h(
            'div',
            { class: 'tools', role: 'toolbar', 'aria-label': t('picture_tools') },
            hold,
            this.#photo,
            h('span', { class: 'gap' }),
            iconButton('minus', t('view_smaller'), () => this.#zoomTo(this.#zoom / 1.5)),
            h('output', { class: 'zoom-value' }, '1×'),
            iconButton('plus', t('view_larger'), () => this.#zoomTo(this.#zoom * 1.5)),
            iconButton('fit', t('view_fit'), () => this.#zoomTo(1)),
            document.fullscreenEnabled
                ? iconButton(
                      'full',
                      t('full_screen'),
                      () => void (document.fullscreenElement ? document.exitFullscreen() : this.requestFullscreen()),
                  )
                : null,
        );
    }

    #snapshot() {
        if (this.#frame) {
            downloadBlob(this.#frame.jpeg, `snapshot-${this.#frame.number}.jpg`);
        }
    }

    /** @param {number} zoom @param {{x: number, y: number}} [around] shares of the stage */
    #zoomTo(zoom, around = { x: 0.5, y: 0.5 }) {
        const next = Math.min(kMostZoom, Math.max(1, zoom));
        const grow = next / this.#zoom;
        // What is under the pointer stays there. at: of the stage's upper left corner, in stages.
        this.#at = {
            x: (this.#at.x + around.x) * grow - around.x,
            y: (this.#at.y + around.y) * grow - around.y,
        };
        this.#zoom = next;
        this.#place();
    }

    #place() {
        const most = this.#zoom - 1;
        this.#at.x = Math.min(most, Math.max(0, this.#at.x));
        this.#at.y = Math.min(most, Math.max(0, this.#at.y));
        const move = `translate(${-this.#at.x * 100}%, ${-this.#at.y * 100}%) scale(${this.#zoom})`;
        this.#canvas.style.transform = move;
        this.#before.style.transform = move;
        this.#stage.classList.toggle('zoomed', this.#zoom > 1);
        const shown = this.querySelector('.zoom-value');
        if (shown) {
            shown.textContent = `${numeral(this.#zoom, 1)}×`;
        }
    }

    #listen() {
        const { signal } = this;
        const stage = this.#stage;
        const share = (/** @type {MouseEvent} */ event) => {
            const box = stage.getBoundingClientRect();
            return { x: (event.clientX - box.left) / box.width, y: (event.clientY - box.top) / box.height };
        };
        if (this.isSmall) {
            return;
        }
        stage.tabIndex = 0;
        stage.setAttribute('role', 'group');
        stage.setAttribute('aria-label', t('picture_keys'));
        stage.addEventListener(
            'wheel',
            (event) => {
                if (this.#zoom > 1 || event.deltaY < 0) {
                    event.preventDefault();
                    this.#zoomTo(this.#zoom * (event.deltaY < 0 ? 1.2 : 1 / 1.2), share(event));
                }
            },
            { signal, passive: false },
        );
        stage.addEventListener('dblclick', (event) => this.#zoomTo(this.#zoom > 1 ? 1 : 3, share(event)), { signal });
        stage.addEventListener(
            'keydown',
            (event) => {
                const by = { ArrowLeft: [-0.2, 0], ArrowRight: [0.2, 0], ArrowUp: [0, -0.2], ArrowDown: [0, 0.2] }[
                    event.key
                ];
                if (by && event.target === stage) {
                    event.preventDefault();
                    this.#at = { x: this.#at.x + by[0], y: this.#at.y + by[1] };
                    this.#place();
                } else if (event.key === '+' || event.key === '-') {
                    this.#zoomTo(this.#zoom * (event.key === '+' ? 1.5 : 1 / 1.5));
                }
            },
            { signal },
        );
        /** @type {Map<number, {x: number, y: number}>} */
        const fingers = new Map();
        stage.addEventListener(
            'pointerdown',
            (event) => {
                if (event.target !== this.#divider) {
                    fingers.set(event.pointerId, share(event));
                    stage.setPointerCapture(event.pointerId);
                }
            },
            { signal },
        );
        stage.addEventListener(
            'pointermove',
            (event) => {
                const before = fingers.get(event.pointerId);
                if (!before) {
                    return;
                }
                const now = share(event);
                const other = [...fingers].find(([id]) => id !== event.pointerId)?.[1];
                if (other) {
                    const apart = (/** @type {{x: number, y: number}} */ finger) =>
                        Math.hypot(finger.x - other.x, finger.y - other.y);
                    this.#zoomTo((this.#zoom * apart(now)) / Math.max(0.01, apart(before)), {
                        x: (now.x + other.x) / 2,
                        y: (now.y + other.y) / 2,
                    });
                } else {
                    this.#at = { x: this.#at.x - (now.x - before.x), y: this.#at.y - (now.y - before.y) };
                    this.#place();
                }
                fingers.set(event.pointerId, now);
            },
            { signal },
        );
        for (const end of ['pointerup', 'pointercancel']) {
            stage.addEventListener(end, (event) => fingers.delete(/** @type {PointerEvent} */ (event).pointerId), {
                signal,
            });
        }
    }

    // ---- before and after ------------------------------------------------------------------------------------------

    /** The picture as it is now stays as the left half. */
    #compareTrial() {
        const begins = camera.trying && this.#before.hidden && this.classList.contains('has-picture') && !this.isSmall;
        if (begins) {
            this.#before.width = this.#canvas.width;
            this.#before.height = this.#canvas.height;
            this.#before.getContext('2d')?.drawImage(this.#canvas, 0, 0);
        }
        if (begins || !camera.trying) {
            this.#before.hidden = !begins;
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
    element.id = newId();
    return element;
}
