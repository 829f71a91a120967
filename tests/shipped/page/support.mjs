// A camera of its own for each file of tests, and a browser that remembers what it was shown.
// usage of each: node X_test.mjs SENSORCAM NODE_MODULES WORK_FOLDER
import assert from 'node:assert';
import { spawn } from 'node:child_process';
import { mkdirSync, mkdtempSync, readFileSync, rmSync } from 'node:fs';
import { createRequire } from 'node:module';
import path from 'node:path';
import { after } from 'node:test';

export const [sensorcam, modules, work] = process.argv.slice(2);
const require = createRequire(path.join(path.resolve(modules), '/'));
const { chromium } = require('playwright-core');
mkdirSync(work, { recursive: true });

/** @type {Set<Camera>} */
const running = new Set();

// Of a test that failed nothing is left behind.
after(() => Promise.all([...running].map((camera) => camera.remove())));

/** A running camera. @param {string[]} options of the program, before "serve" @param {string[]} serving behind it */
export class Camera {
    constructor(options = [], serving = []) {
        this.folder = mkdtempSync(path.join(path.resolve(work), 'c-'));
        this.options = options;
        this.serving = serving;
        this.port = 0;
    }

    /** Where it was before, if it was started before. */
    async start() {
        this.process = spawn(
            sensorcam,
            [
                '--state',
                path.join(this.folder, 'state'),
                ...this.options,
                'serve',
                '--port',
                String(this.port),
                ...this.serving,
            ],
            { stdio: ['ignore', 'pipe', 'ignore'] },
        );
        running.add(this);
        let text = '';
        await new Promise((resolve, reject) => {
            this.process.once('exit', () => reject(new Error(`the camera ended: ${text}`)));
            this.process.stdout.on('data', (bytes) => {
                text += bytes;
                const port = /serving on https?:\/\/[^\s]*:(\d+)/.exec(text)?.[1];
                if (port) {
                    this.port = Number(port);
                    resolve();
                }
            });
        });
        this.url = `http://127.0.0.1:${this.port}`;
        return this;
    }

    async end(signal = 'SIGTERM') {
        const ended = new Promise((resolve) => this.process.once('exit', resolve));
        this.process.kill(signal);
        await ended;
        running.delete(this);
    }

    async remove() {
        await this.end();
        rmSync(this.folder, { recursive: true, force: true });
    }

    /** @returns {Promise<any>} */
    async ask(method, where, body) {
        const answer = await fetch(this.url + where, {
            method,
            headers: body === undefined ? {} : { 'Content-Type': 'application/json' },
            body: JSON.stringify(body),
        });
        return answer.json();
    }
}

export function launch() {
    return chromium.launch({ executablePath: '/usr/bin/chromium', args: ['--no-sandbox'], timeout: 120_000 });
}

/**
 * A page that remembers what went wrong in it and what it asked for.
 * @param {any} browser
 * @param {string} url
 * @param {any} [options] of the context
 */
export async function open(browser, url, options = {}) {
    const context = await browser.newContext({ viewport: { width: 1280, height: 900 }, locale: 'en', ...options });
    // So that each request can be caught from the first one on: switched on later, a busy page would still send one past.
    await context.route(/^never:/, goOn);
    const page = await context.newPage();
    page.failures = [];
    page.requests = [];
    page.on('pageerror', (error) => page.failures.push(String(error)));
    page.on('console', (message) => {
        // A request that was answered with an error is no mistake of the page; what its policy stopped is one.
        if (message.type() === 'error' && !message.text().startsWith('Failed to load resource')) {
            page.failures.push(message.text());
        }
    });
    page.on('request', (request) => {
        page.requests.push(request);
        const { origin, protocol } = new URL(request.url());
        const isPage = request.isNavigationRequest() || !protocol.startsWith('http');
        if (!isPage && origin !== new URL(page.url()).origin) {
            page.failures.push(`asked for ${request.url()}`);
        }
    });
    page.setDefaultTimeout(60_000);
    await page.goto(url);
    return page;
}

/** Nothing went wrong in it. */
export async function close(page) {
    assert.deepStrictEqual(page.failures, []);
    await page.context().close();
}

/**
 * From now on the page keeps what each frame that it shows was taken with, and how it looks: its mean and its colour
 * (how far red, green and blue lie apart), of 255.
 * @param {any} page with a picture
 */
export async function watchFrames(page) {
    await page.locator('sc-picture.has-picture').waitFor();
    await page.evaluate(() => {
        const small = document.createElement('canvas');
        small.width = 64;
        small.height = 36;
        const context = small.getContext('2d', { willReadFrequently: true });
        globalThis.frames_ = [];
        document.querySelector('sc-picture').addEventListener('frame', ({ target, detail }) => {
            context.drawImage(target.querySelector('canvas'), 0, 0, small.width, small.height);
            const { data } = context.getImageData(0, 0, small.width, small.height);
            let sum = 0;
            let colour = 0;
            for (let i = 0; i < data.length; i += 4) {
                const pixel = [data[i], data[i + 1], data[i + 2]];
                sum += (pixel[0] + pixel[1] + pixel[2]) / 3;
                colour += Math.max(...pixel) - Math.min(...pixel);
            }
            const { jpeg, ...facts } = detail;
            const pixels = data.length / 4;
            globalThis.frames_.push({ ...facts, bytes: jpeg.size, mean: sum / pixels, colour: colour / pixels });
        });
    });
    return () => page.evaluate(() => globalThis.frames_);
}

/** Draws a window on a scheme's lane, from one hour to another. */
export async function draw(page, scheme, from, to) {
    let box = null; // for a moment there is none when the chart is drawn anew
    await until(async () => (box = await page.locator(`[data-scheme="${scheme}"] .lane`).boundingBox()));
    const x = (hour) => box.x + (box.width * hour) / 24;
    await page.mouse.move(x(from), box.y + box.height / 2);
    await page.mouse.down();
    await page.mouse.move(x((from + to) / 2), box.y + box.height / 2);
    await page.mouse.move(x(to), box.y + box.height / 2);
    await page.mouse.up();
}

/** The tab goes into the background, or comes back. */
export async function hide(page, isHidden) {
    await page.evaluate((hidden) => {
        Object.defineProperty(document, 'hidden', { configurable: true, value: hidden });
        document.dispatchEvent(new Event('visibilitychange'));
    }, isHidden);
}

/** The tab is in the background for a while, and the page has read everything anew. */
export async function hideAndShow(page, meanwhile = () => {}) {
    await hide(page, true);
    await meanwhile();
    const read = page.waitForResponse('**/api/trials');
    await hide(page, false);
    await read;
}

/** A request goes its way, unless its page has been closed. */
export function goOn(route) {
    return route.continue().catch(() => {});
}

/** From now on what the page asks for waits until it is let go. @returns {Promise<() => void>} */
export async function keepBack(page, where, method) {
    let letGo = () => {};
    const gone = new Promise((resolve) => (letGo = resolve));
    const wait = async (route) => {
        if (route.request().method() === method) {
            await gone;
        }
        await goOn(route);
    };
    await page.route(where, wait);
    return letGo;
}

/** Waits until it holds, with a bound. @param {() => any} condition */
export async function until(condition, what = String(condition), seconds = 60) {
    for (let i = 0; i < seconds * 20; i++) {
        if (await condition()) {
            return;
        }
        await new Promise((resolve) => setTimeout(resolve, 50));
    }
    throw new Error(`never: ${what}`);
}

/** What keeps somebody from using the page, one line each; its context has bypassCSP. */
export async function violations(page) {
    await page.evaluate(readFileSync(require.resolve('axe-core/axe.min.js'), 'utf8'));
    const found = await page.evaluate(() => globalThis.axe.run(document, { resultTypes: ['violations'] }));
    return found.violations.flatMap((rule) =>
        rule.nodes.map((node) => `${rule.id}: ${node.html} ${node.failureSummary}`),
    );
}

/** Ids of texts that no document has, for an id stands for its text then. */
export async function missingTexts(page) {
    const text = await page.evaluate(() =>
        [
            document.body.innerText,
            ...[...document.querySelectorAll('[aria-label], [title]')].map(
                (element) => `${element.getAttribute('aria-label')} ${element.getAttribute('title')}`,
            ),
        ].join('\n'),
    );
    return text.match(/\b[a-z]+_[a-z_]+\b/g) ?? [];
}
