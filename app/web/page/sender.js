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
    /** Who waits until all is answered. @type {(() => void)[]} */
    #waiters = [];
    #ask;
    #settle;
    #refuse;

    /**
     * @param {(changes: Map<K, V>) => Promise<A>} ask
     * @param {(answer: A, keys: K[]) => void} settle
     * @param {(error: unknown, changes: Map<K, V>) => void} refuse
     */
    constructor(ask, settle, refuse) {
        this.#ask = ask;
        this.#settle = settle;
        this.#refuse = refuse;
    }

    /** @param {Iterable<[K, V]>} changes */
    put(changes) {
        for (const [key, value] of changes) {
            this.#waiting.delete(key); // sent in the order in which they were last changed
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

    /** Settles when all is answered. @returns {Promise<void>} */
    idle() {
        return new Promise((resolve) => {
            this.#waiters.push(resolve);
            this.#send();
        });
    }

    /** Forgets what was not sent. */
    drop() {
        this.#waiting.clear();
        this.#send();
    }

    #send() {
        clearTimeout(this.#timer);
        if (this.#sent.size > 0) {
            return;
        }
        if (this.#waiting.size === 0) {
            this.#waiters.splice(0).forEach((done) => done());
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
        const changes = this.#sent;
        try {
            const answer = await this.#ask(changes);
            this.#sent = new Map();
            this.#settle(answer, [...changes.keys()]);
        } catch (error) {
            this.#sent = new Map();
            this.#refuse(error, changes);
        }
        this.#send();
    }
}
