// The camera's HTTP interface, as functions.

/** What the camera answered when it refused, or the browser when there was no answer. */
export class Problem extends Error {
    /**
     * @param {number} status 0: no answer
     * @param {Record<string, any>} body
     */
    constructor(status, body) {
        super(String(body.detail ?? ''));
        this.status = status;
        /** @type {string} */
        this.code = body.code ?? '';
        this.body = body;
    }
}

/**
 * @typedef {object} Answer
 * @property {any} body parsed when it is JSON, otherwise a text
 * @property {string} revision its ETag
 */

/**
 * Throws Problem.
 * @param {string} method
 * @param {string} path
 * @param {any} [body] a text is JSON already
 * @param {{revision?: string, seconds?: number}} [options] revision: refused with 412 unless it is still the last one
 * @returns {Promise<Answer>}
 */
export async function ask(method, path, body, options = {}) {
    /** @type {Record<string, string>} */
    const headers = {};
    if (body !== undefined) {
        headers['Content-Type'] = 'application/json';
    }
    if (options.revision) {
        headers['If-Match'] = options.revision;
    }
    /** @type {Response} */
    let response;
    let content;
    try {
        response = await fetch(path, {
            method,
            headers,
            body: typeof body === 'string' ? body : JSON.stringify(body),
            signal: AbortSignal.timeout((options.seconds ?? 30) * 1000),
        });
        const text = await response.text();
        content = (response.headers.get('Content-Type') ?? '').includes('json') ? JSON.parse(text) : text;
    } catch (error) {
        throw new Problem(0, { code: 'no-answer', detail: String(error) });
    }
    if (!response.ok) {
        throw new Problem(response.status, typeof content === 'object' ? content : { detail: content });
    }
    return { body: content, revision: response.headers.get('ETag') ?? '' };
}

/**
 * @param {string} path
 * @returns {Promise<any>}
 */
export async function get(path) {
    return (await ask('GET', path)).body;
}

/**
 * @param {string} text
 * @returns {Document}
 */
export function parseXml(text) {
    return new DOMParser().parseFromString(text, 'text/xml');
}
