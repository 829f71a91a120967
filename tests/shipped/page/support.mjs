// A camera of its own for each file of tests, a browser, and a picture where the camera has none.
// usage of each: node X_test.mjs SENSORCAM NODE_MODULES WORK_FOLDER
import { spawn } from 'node:child_process';
import { mkdirSync, mkdtempSync, rmSync } from 'node:fs';
import http from 'node:http';
import { createRequire } from 'node:module';
import path from 'node:path';
import { after } from 'node:test';

export const [sensorcam, modules, work] = process.argv.slice(2);
export const require = createRequire(path.join(path.resolve(modules), '/'));
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
        this.url = `http://localhost:${this.port}`;
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
    return chromium.launch({ executablePath: '/usr/bin/chromium', args: ['--no-sandbox'] });
}

/**
 * A page that remembers what went wrong in it and what it asked for.
 * @param {any} browser
 * @param {string} url
 * @param {any} [options] of the context
 */
export async function open(browser, url, options = {}) {
    const context = await browser.newContext({ viewport: { width: 1280, height: 900 }, locale: 'en', ...options });
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
    page.on('request', (request) => page.requests.push(request));
    page.setDefaultTimeout(20000);
    await page.goto(url);
    return page;
}

/**
 * In front of a camera without a picture: passes everything on, and delivers frames of changing grey.
 * @param {any} browser that draws them
 * @param {string} url of the camera
 */
export async function withPicture(browser, url) {
    const page = await browser.newPage();
    const frames = await page.evaluate(() =>
        [60, 90, 120, 150].map((grey) => {
            const canvas = document.createElement('canvas');
            canvas.width = 320;
            canvas.height = 180;
            const context = canvas.getContext('2d');
            const sky = context.createLinearGradient(0, 0, 0, 180);
            sky.addColorStop(0, `rgb(${grey}, ${grey + 20}, ${grey + 40})`);
            sky.addColorStop(1, `rgb(${grey - 40}, ${grey - 30}, ${grey - 40})`);
            context.fillStyle = sky;
            context.fillRect(0, 0, 320, 180);
            return canvas.toDataURL('image/jpeg').split(',')[1];
        }),
    );
    await page.close();
    const jpegs = frames.map((text) => Buffer.from(text, 'base64'));
    let number = 0;

    const proxy = http.createServer((request, response) => {
        if (request.url === '/api/stream.mjpg') {
            response.writeHead(200, { 'Content-Type': 'multipart/x-mixed-replace; boundary=frame' });
            const timer = setInterval(() => {
                const jpeg = jpegs[++number % jpegs.length];
                response.write(
                    `--frame\r\nContent-Type: image/jpeg\r\nContent-Length: ${jpeg.length}\r\n` +
                        `X-Frame-Number: ${number}\r\nX-Frame-Time: 50400\r\nX-Frame-Exposure: 0.004\r\nX-Frame-Gain: 6.5\r\n` +
                        'X-Frame-Rate: 25\r\nX-Frame-Light: 300\r\nX-Frame-Night: false\r\nX-Frame-Frozen: false\r\n\r\n',
                );
                response.write(jpeg);
                response.write('\r\n');
            }, 40);
            request.on('close', () => clearInterval(timer));
            return;
        }
        const headers = { ...request.headers, host: new URL(url).host };
        if (headers.origin) {
            headers.origin = url;
        }
        const passed = http.request(url + request.url, { method: request.method, headers }, (answer) => {
            response.writeHead(answer.statusCode, answer.headers);
            answer.pipe(response);
        });
        passed.on('error', () => response.destroy());
        response.on('close', () => passed.destroy());
        request.pipe(passed);
    });
    await new Promise((resolve) => proxy.listen(0, '127.0.0.1', () => resolve()));
    return {
        url: `http://localhost:${proxy.address().port}`,
        end() {
            proxy.closeAllConnections();
            proxy.close();
        },
    };
}

/** Waits until it holds, with a bound. @param {() => any} condition */
export async function until(condition, what = String(condition)) {
    for (let i = 0; i < 400; i++) {
        if (await condition()) {
            return;
        }
        await new Promise((resolve) => setTimeout(resolve, 50));
    }
    throw new Error(`never: ${what}`);
}
