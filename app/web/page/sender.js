// Changes on their way to the camera: the first at once, then at most ten a second, and always the last.

const kBetween = 100; // milliseconds

/**
 * One request at a time; what is changed meanwhile is sent with the next.
 * @template K, V, A
 */
export class Sender {
    /** Not sent yet. @type {Map<K, V>} */
    #waiting = new Map();
    /** Sent, not answered. @type {Map<K, V>} */
    #sent = new Map();
    #lastSent = -Infinity;
    #timer = 0;
    #ask;
    #settle;
    #refuse;

    /**
     * @param {(changes: Map<K, V>) => Promise<A>} ask
     * @param {(answer: A, keys: K[]) => void} settle
     * @param {(error: unknown) => void} refuse
     */
    constructor(ask, settle, refuse) {
        this.#ask = ask;
        this.#settle = settle;
        this.#refuse = refuse;
    }

    /** @param {Iterable<[K, V]>} changes */
    put(changes) {
        for (const [key, value] of changes) {
            this.#waiting.set(key, value);
        }
        this.#send();
    }

    /** Is its value still on its way? @param {K} key */
    has(key) {
        return this.#waiting.has(key) || this.#sent.has(key);
    }

    get isBusy() {
        return this.#waiting.size > 0 || this.#sent.size > 0;
    }

    /** Forgets what was not sent. */
    drop() {
        this.#waiting.clear();
    }

    #send() {
        clearTimeout(this.#timer);
        if (this.#waiting.size === 0 || this.#sent.size > 0) {
            return;
        }
        const wait = this.#lastSent + kBetween - performance.now();
        if (wait > 0) {
            this.#timer = window.setTimeout(() => this.#send(), wait);
        } else {
            void this.#sendNow();
        }
    }

    async #sendNow() {
        this.#sent = this.#waiting;
        this.#waiting = new Map();
        this.#lastSent = performance.now();
        const keys = [...this.#sent.keys()];
        try {
            const answer = await this.#ask(this.#sent);
            this.#sent = new Map();
            this.#settle(answer, keys);
        } catch (error) {
            this.#sent = new Map();
            this.#refuse(error);
        }
        this.#send();
    }
}
