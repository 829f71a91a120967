// How the picture is looked at: enlarged and moved by wheel, pointer, fingers and keys.

const kMost = 8;
const kStep = 1.5;

/** @typedef {{x: number, y: number}} Point as shares of the stage */

export class View {
    zoom = 1;
    /** The stage's upper left corner on the enlarged picture, in stages. @type {Point} */
    #at = { x: 0, y: 0 };
    #stage;
    #changed;

    /** @param {HTMLElement} stage @param {() => void} changed */
    constructor(stage, changed) {
        this.#stage = stage;
        this.#changed = changed;
    }

    get transform() {
        return `translate(${-this.#at.x * 100}%, ${-this.#at.y * 100}%) scale(${this.zoom})`;
    }

    larger() {
        this.zoomTo(this.zoom * kStep);
    }

    smaller() {
        this.zoomTo(this.zoom / kStep);
    }

    /** What is under the point stays there. @param {number} zoom @param {Point} [around] */
    zoomTo(zoom, around = { x: 0.5, y: 0.5 }) {
        const next = Math.min(kMost, Math.max(1, zoom));
        const grow = next / this.zoom;
        const at = { x: (this.#at.x + around.x) * grow - around.x, y: (this.#at.y + around.y) * grow - around.y };
        this.zoom = next;
        this.#moveTo(at);
    }

    /** @param {Point} at */
    #moveTo(at) {
        const within = (/** @type {number} */ share) => Math.min(this.zoom - 1, Math.max(0, share));
        this.#at = { x: within(at.x), y: within(at.y) };
        this.#changed();
    }

    /** @param {number} x @param {number} y */
    #moveBy(x, y) {
        this.#moveTo({ x: this.#at.x + x, y: this.#at.y + y });
    }

    /** @param {MouseEvent} event @returns {Point} */
    #share(event) {
        const box = this.#stage.getBoundingClientRect();
        return { x: (event.clientX - box.left) / box.width, y: (event.clientY - box.top) / box.height };
    }

    /** @param {AbortSignal} signal */
    listen(signal) {
        const stage = this.#stage;
        const turn = (/** @type {WheelEvent} */ event) => {
            if (this.zoom > 1 || event.deltaY < 0) {
                event.preventDefault();
                this.zoomTo(this.zoom * (event.deltaY < 0 ? 1.2 : 1 / 1.2), this.#share(event));
            }
        };
        stage.addEventListener('wheel', turn, { signal, passive: false });
        stage.addEventListener('dblclick', (event) => this.zoomTo(this.zoom > 1 ? 1 : 3, this.#share(event)), {
            signal,
        });
        stage.addEventListener('keydown', (event) => this.#press(event), { signal });
        this.#followFingers(signal);
    }

    /** @param {KeyboardEvent} event */
    #press(event) {
        const by = { ArrowLeft: [-0.2, 0], ArrowRight: [0.2, 0], ArrowUp: [0, -0.2], ArrowDown: [0, 0.2] }[event.key];
        if (event.target !== this.#stage) {
            return;
        }
        if (by && this.zoom > 1) {
            event.preventDefault();
            this.#moveBy(by[0], by[1]);
        } else if (event.key === '+') {
            this.larger();
        } else if (event.key === '-') {
            this.smaller();
        } else if (event.key === '0') {
            this.zoomTo(1);
        }
    }

    /** @param {AbortSignal} signal */
    #followFingers(signal) {
        const stage = this.#stage;
        /** @type {Map<number, Point>} */
        const fingers = new Map();
        /** @param {PointerEvent} event */
        const put = (event) => {
            if (!(event.target instanceof HTMLInputElement)) {
                fingers.set(event.pointerId, this.#share(event));
                stage.setPointerCapture(event.pointerId);
            }
        };
        /** @param {PointerEvent} event */
        const move = (event) => {
            const before = fingers.get(event.pointerId);
            if (!before) {
                return;
            }
            const now = this.#share(event);
            const other = [...fingers].find(([id]) => id !== event.pointerId)?.[1];
            if (other) {
                const apart = (/** @type {Point} */ finger) => Math.hypot(finger.x - other.x, finger.y - other.y);
                this.zoomTo((this.zoom * apart(now)) / Math.max(0.01, apart(before)), {
                    x: (now.x + other.x) / 2,
                    y: (now.y + other.y) / 2,
                });
            } else {
                this.#moveBy(before.x - now.x, before.y - now.y);
            }
            fingers.set(event.pointerId, now);
        };
        /** @param {PointerEvent} event */
        const lift = (event) => fingers.delete(event.pointerId);
        stage.addEventListener('pointerdown', put, { signal });
        stage.addEventListener('pointermove', move, { signal });
        stage.addEventListener('pointerup', lift, { signal });
        stage.addEventListener('pointercancel', lift, { signal });
    }
}
