// Trials: what the sensor has and no scheme remembers, of this page and of others.
import { ask } from './api.js';

/** @typedef {{id: number, keys: Set<number>}} Trial */

export class Trials {
    /** Changes are tried out, and not remembered. */
    isOn = false;
    /** Of this page; it is there from the first change on. @type {Trial | null} */
    own = null;
    /** Of others, by number. @type {Map<number, Set<number>>} */
    #others = new Map();

    /** How a change is asked for. */
    get query() {
        return !this.isOn ? '' : this.own ? `?keep=false&trial=${this.own.id}` : '?keep=false';
    }

    /** @param {number} key */
    has(key) {
        return (this.own?.keys.has(key) ?? false) || [...this.#others.values()].some((keys) => keys.has(key));
    }

    forgetOthers() {
        this.#others.clear();
    }

    /** @param {{trial: number, values: {key: number}[]}} trial */
    heardOf({ trial, values }) {
        if (trial !== this.own?.id) {
            this.#others.set(trial, new Set(values.map((value) => value.key)));
        }
    }

    /** A change was answered with it. @param {{trial: number, values: {key: number}[]}} trial */
    took({ trial, values }) {
        this.own = { id: trial, keys: new Set(values.map((value) => value.key)) };
        this.#others.delete(trial);
    }

    /** True if it was the one of this page. @param {number} id */
    ended(id) {
        this.#others.delete(id);
        const isOwn = id === this.own?.id;
        if (isOwn) {
            this.own = null;
            this.isOn = false;
        }
        return isOwn;
    }

    /** @param {boolean} keeps */
    async end(keeps) {
        const { own } = this;
        this.own = null;
        this.isOn = false;
        if (own) {
            await (keeps ? ask('POST', `/api/trials/${own.id}/keep`) : ask('DELETE', `/api/trials/${own.id}`));
        }
    }

    /** It lasts 15 seconds without a sign. */
    async hold() {
        if (this.own) {
            await ask('PUT', `/api/trials/${this.own.id}`);
        }
    }
}
