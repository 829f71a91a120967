// What was changed here, to be taken back and done again.

/** @typedef {{key: number, before: number, after: number}} Step */

const kOneGesture = 1200; // milliseconds: changes of a control so close together are one
const kMost = 100;

export class Undo {
    /** @type {{steps: Step[], at: number}[]} */
    #done = [];
    /** @type {{steps: Step[], at: number}[]} */
    #undone = [];

    get canUndo() {
        return this.#done.length > 0;
    }

    get canRedo() {
        return this.#undone.length > 0;
    }

    clear() {
        this.#done = [];
        this.#undone = [];
    }

    /** @param {Step[]} steps */
    remember(steps) {
        const last = this.#done.at(-1);
        const now = performance.now();
        const keys = (/** @type {Step[]} */ list) => list.map((step) => step.key).join();
        this.#undone = [];
        if (last && now - last.at < kOneGesture && keys(last.steps) === keys(steps)) {
            last.steps.forEach((step, i) => {
                step.after = steps[i].after;
            });
            last.at = now;
        } else {
            this.#done = [...this.#done, { steps, at: now }].slice(-kMost);
        }
    }

    /** These changes did not come about. @param {Map<number, number>} changes */
    forget(changes) {
        while (this.#done.at(-1)?.steps.every((step) => changes.get(step.key) === step.after)) {
            this.#done.pop();
        }
    }

    /** The camera made another value of it. @param {{key: number, asked: number, value: number}} value */
    correct({ key, asked, value }) {
        for (const step of this.#done.at(-1)?.steps ?? []) {
            if (step.key === key && step.after === asked) {
                step.after = value;
            }
        }
    }

    back() {
        return this.#move(this.#done, this.#undone);
    }

    forward() {
        return this.#move(this.#undone, this.#done);
    }

    /** @param {{steps: Step[], at: number}[]} from @param {{steps: Step[], at: number}[]} to @returns {Step[]} */
    #move(from, to) {
        const last = from.pop();
        if (last) {
            to.push({ ...last, at: -Infinity });
        }
        return last?.steps ?? [];
    }
}
