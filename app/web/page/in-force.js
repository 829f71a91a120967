// The values in force: of each key the newest that was told, read or answered, however these overtake one another.

/** @typedef {{key: number, value?: number}} Row */

/** The number of the last event in a revision or in an event's id. @param {string} text */
function eventNumber(text) {
    return Number(/-(\d+)/.exec(text)?.[1] ?? -1);
}

export class InForce {
    /** Of the scheme, or tried out. @type {Map<number, number>} */
    values = new Map();
    /** By key, the number of the event up to which what is told about it is old. @type {Map<number, number>} */
    #newest = new Map();
    /** Told of keys whose own change was on its way. @type {{row: Row, id: string}[]} */
    #heldUp = [];
    #isOnItsWay;

    /** @param {(key: number) => boolean} isOnItsWay a change of it was sent, or will be, and is not answered */
    constructor(isOnItsWay) {
        this.#isOnItsWay = isOnItsWay;
    }

    /** Everything will be read anew. */
    forgetEvents() {
        this.#newest.clear();
        this.#heldUp = [];
    }

    /** An event has come; gives the keys that have another value now. @param {Row[]} rows @param {string} id of it */
    told(rows, id) {
        const number = eventNumber(id);
        /** @type {Set<number>} */
        const changed = new Set();
        for (const row of rows) {
            const { key, value } = row;
            if (value === undefined || number <= (this.#newest.get(key) ?? -1)) {
                continue;
            }
            if (this.#isOnItsWay(key)) {
                this.#heldUp.push({ row, id });
                continue;
            }
            this.#newest.set(key, number);
            if (this.values.get(key) !== value) {
                this.values.set(key, value);
                changed.add(key);
            }
        }
        return changed;
    }

    /** What was told before an answer, and is newer; gives the keys that have another value now. */
    catchUp() {
        return new Set(this.#heldUp.splice(0).flatMap(({ row, id }) => [...this.told([row], id)]));
    }

    /** @param {Row[]} rows @param {string} revision of the answer that they were read from */
    read(rows, revision) {
        // An event may have told more meanwhile: a revision is from before what was read.
        const asOf = eventNumber(revision);
        this.tried(rows.filter(({ key }) => asOf >= (this.#newest.get(key) ?? -1)));
    }

    /** Of a trial; what is on its way is newer. @param {Row[]} rows */
    tried(rows) {
        for (const { key, value } of rows) {
            if (value !== undefined && !this.#isOnItsWay(key)) {
                this.values.set(key, value);
            }
        }
    }

    /** A change of these keys was answered. @param {number[]} keys @param {Row[]} rows @param {string} revision */
    answered(keys, rows, revision) {
        for (const key of keys) {
            this.#newest.set(key, eventNumber(revision));
        }
        this.tried(rows);
    }
}
