// The stream of frames, as data.

/**
 * @typedef {object} Frame
 * @property {Blob} jpeg
 * @property {number} number
 * @property {number} time
 * @property {number} exposure seconds
 * @property {number} gain decibels
 * @property {number} rate frames in a second that the sensor is set to
 * @property {number} light lux
 * @property {boolean} night
 * @property {boolean} frozen
 * @property {string} problem why no new frame comes; "" while all is well
 */

const kNothing = new Uint8Array(0);

/** Where the empty line behind a part's headers begins; -1: not there yet. @param {Uint8Array} bytes */
function endOfHead(bytes) {
    for (let i = bytes.indexOf(13); i >= 0 && i + 3 < bytes.length; i = bytes.indexOf(13, i + 1)) {
        if (bytes[i + 1] === 10 && bytes[i + 2] === 13 && bytes[i + 3] === 10) {
            return i;
        }
    }
    return -1;
}

/** @param {string} head */
function headersIn(head) {
    const lines = head.split('\r\n').map((line) => /^([^:]+):\s*(.*)$/.exec(line));
    return new Map(lines.flatMap((line) => (line ? [[line[1].toLowerCase(), line[2]]] : [])));
}

/** @param {string | undefined} json of a problem */
function detailOf(json) {
    try {
        return json === undefined ? '' : String(JSON.parse(json).detail);
    } catch {
        return json ?? '';
    }
}

/** @param {Map<string, string>} head @param {Uint8Array<ArrayBuffer>} jpeg @returns {Frame} */
function frameOf(head, jpeg) {
    const number = (/** @type {string} */ name) => Number(head.get(`x-frame-${name}`) ?? NaN);
    const flag = (/** @type {string} */ name) => head.get(`x-frame-${name}`) === 'true';
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
        problem: detailOf(head.get('x-frame-problem')),
    };
}

/**
 * The parts of multipart/x-mixed-replace, each with its length. Of parts that have come together, the last.
 * @param {ReadableStream<Uint8Array<ArrayBuffer>>} stream
 * @returns {AsyncGenerator<Frame>}
 */
export async function* framesIn(stream) {
    const reader = stream.getReader();
    let kept = kNothing;
    try {
        for (let next = await reader.read(); !next.done; next = await reader.read()) {
            const joined = new Uint8Array(kept.length + next.value.length);
            joined.set(kept);
            joined.set(next.value, kept.length);
            kept = joined;
            let newest = null;
            for (let end = endOfHead(kept); end >= 0; end = endOfHead(kept)) {
                const head = headersIn(new TextDecoder().decode(kept.subarray(0, end)));
                const behind = end + 4 + Number(head.get('content-length') ?? 0);
                if (kept.length < behind) {
                    break;
                }
                newest = { head, jpeg: kept.slice(end + 4, behind) };
                kept = kept.subarray(behind);
            }
            if (newest) {
                yield frameOf(newest.head, newest.jpeg);
            }
        }
    } finally {
        void reader.cancel().catch(() => {});
    }
}
