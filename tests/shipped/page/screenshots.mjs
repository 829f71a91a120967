// Takes the pictures of docs/screenshots: each page as it looks when somebody works with it.
// usage: node screenshots.mjs SENSORCAM NODE_MODULES WORK_FOLDER FOLDER
import { mkdirSync } from 'node:fs';
import path from 'node:path';
import test, { after } from 'node:test';
import { Camera, close, draw, launch, open, until } from './support.mjs';

const folder = process.argv[5];
const kPlates = 28000; // zoom position from which they can be read
const kSettled = 60; // frames until exposure and noise reduction have come to rest

mkdirSync(folder, { recursive: true });
const browser = await launch();
after(() => browser.close());

async function camera(model, time, world = {}) {
    const begun = await new Camera(['--model', model, '--at', time]).start();
    await begun.ask('PUT', '/api/world', { light: 'daylight', ...world });
    return begun;
}

async function take(page, name) {
    await page.screenshot({ path: path.join(folder, `${name}.jpg`), type: 'jpeg', quality: 85 });
    await close(page);
}

async function takeWithPicture(page, name) {
    const picture = page.locator('sc-picture.has-picture').first();
    const frame = async () => Number(await picture.getAttribute('data-frame'));
    const first = await frame();
    await until(async () => (await frame()) > first + kSettled, 'frames', 60);
    await take(page, name);
}

const show = (where, options = {}) =>
    open(browser, where, { viewport: { width: 1280, height: 720 }, colorScheme: 'light', ...options });

test('each page is taken', async () => {
    const day = await camera('fixed', '10:30');
    await day.ask('PATCH', '/api/parameters', { brightness: 54, contrast: 58 });
    await takeWithPicture(await show(day.url), 'live-day');

    await day.ask('POST', '/api/save');
    await day.ask('PATCH', '/api/parameters', { saturation: 61, sharpness: 57 });
    const parameters = await show(`${day.url}/#parameters`);
    await parameters.getByRole('slider', { name: 'Sharpness' }).waitFor();
    await parameters.getByRole('button', { name: /^Save \(/ }).waitFor();
    await takeWithPicture(parameters, 'parameters');
    await day.ask('POST', '/api/save');

    await day.ask('PUT', '/api/schemes/0/window', { enabled: false, from: '00:00', to: '24:00' });
    await day.ask('PUT', '/api/schemes/1', { brightness: 62, saturation: 20 });
    const schemes = await show(`${day.url}/#schemes`);
    for (const [scheme, from, to] of [
        [0, 9, 16],
        [1, 6.5, 19.5],
        [2, 19.5, 23],
    ]) {
        await draw(schemes, scheme, from, to);
        await until(async () => (await day.ask('GET', `/api/schemes/${scheme}/window`)).enabled);
    }
    await schemes.mouse.move(0, 0);
    await schemes.locator('.top').getByText('Scheme 0', { exact: true }).waitFor();
    await schemes.getByRole('row', { name: /^Saturation/ }).waitFor();
    await take(schemes, 'schemes');

    const lens = await show(`${day.url}/#lens`);
    await day.ask('PUT', '/api/lens', { focusMode: 1 });
    await lens.getByRole('button', { name: 'Measure' }).click();
    await lens.getByRole('img', { name: /^Sharpness over focus position; sharpest at/ }).waitFor();
    await until(() => lens.getByRole('button', { name: 'Measure' }).isEnabled());
    await takeWithPicture(lens, 'lens');

    await day.ask('PUT', '/api/diagnostics', { level: 6 });
    const diagnostics = await show(`${day.url}/#diagnostics`);
    await diagnostics.getByRole('button', { name: 'Listen' }).click();
    await diagnostics.getByRole('button', { name: 'Stop' }).waitFor();
    await until(async () => {
        await day.ask('PATCH', '/api/parameters', { contrast: 50 + (Date.now() % 10) });
        return (await diagnostics.getByRole('log').innerText()).split('\n').length > 8;
    });
    await take(diagnostics, 'diagnostics');

    await day.ask('PUT', '/api/lens', { focusMode: 0 });
    await day.ask('POST', '/api/lens/focus-once');
    await until(async () => !(await day.ask('GET', '/api/lens')).focusMoving);
    const phone = { viewport: { width: 390, height: 780 }, deviceScaleFactor: 2, isMobile: true, hasTouch: true };
    await takeWithPicture(await show(day.url, { ...phone, colorScheme: 'dark' }), 'phone');
    await day.remove();

    const dusk = await camera('dome', '17:40');
    await takeWithPicture(await show(`${dusk.url}/#world`), 'world');
    await dusk.remove();

    const night = await camera('lpr', '22:30');
    await until(async () => (await night.ask('GET', '/api/status')).scheme === 1); // with a zoom of its own
    await night.ask('PATCH', '/api/parameters', {
        KEY_IR_MANUAL_STRG_NEAR: 100,
        KEY_IR_MANUAL_STRG_MEDIUM: 100,
        KEY_IR_MANUAL_STRG_FAR: 100,
    });
    await night.ask('POST', '/api/save');
    await night.ask('PUT', '/api/lens', { zoom: kPlates });
    await until(
        async () => {
            const { zoom, focusMoving } = await night.ask('GET', '/api/lens');
            return zoom === kPlates && !focusMoving;
        },
        'the plates can be read',
        120,
    );
    const live = await show(night.url, { colorScheme: 'dark' });
    await live.getByRole('combobox', { name: 'Parameters' }).selectOption({ label: 'Infrared' });
    await takeWithPicture(live, 'live-night');
    await night.remove();
});
