// Schemes: windows are drawn on the day's chart, and the camera changes over by them.
import assert from 'node:assert';
import test, { after, before } from 'node:test';
import { Camera, close, draw, goOn, launch, open, until } from './support.mjs';

let camera, browser;
before(async () => {
    camera = await new Camera(['--at', '12:00']).start();
    browser = await launch();
});
after(async () => {
    await browser.close();
    await camera.remove();
});

const windowOf = (scheme) => camera.ask('GET', `/api/schemes/${scheme}/window`);
const put = (scheme, enabled, from, to) => camera.ask('PUT', `/api/schemes/${scheme}/window`, { enabled, from, to });

test('a window is drawn, moved, and set by the keyboard', async () => {
    await put(1, false, '00:00', '24:00');
    const page = await open(browser, `${camera.url}/#schemes`);
    await page.locator('[data-scheme="1"] .lane').waitFor();
    await draw(page, 1, 6, 12);
    await until(async () => (await windowOf(1)).from === '06:00');
    assert.deepStrictEqual(await windowOf(1), {
        scheme: 1,
        enabled: true,
        from: '06:00',
        to: '12:00',
        neverHolds: false,
    });
    // The chart moves at once, the exact times when the camera has been asked again.
    const shows = (end, time) =>
        until(async () => (await page.getByRole('textbox', { name: `Scheme 1 ${end}` }).inputValue()) === time);
    await shows('to', '12:00');
    await page.getByRole('slider', { name: 'Scheme 1 to' }).press('ArrowRight');
    await until(async () => (await windowOf(1)).to === '12:05');
    await shows('to', '12:05');
    await draw(page, 1, 9, 11);
    await until(async () => (await windowOf(1)).from === '08:00');
    await shows('from', '08:00');
    await page.getByRole('textbox', { name: 'Scheme 1 from' }).fill('06:07');
    await page.keyboard.press('Enter');
    await until(async () => (await windowOf(1)).from === '06:07');
    await close(page);
});

test('a key that is held moves an end by every step, however slow the camera answers', async () => {
    await put(1, true, '06:00', '12:00');
    const page = await open(browser, `${camera.url}/#schemes`);
    const end = page.getByRole('slider', { name: 'Scheme 1 to' });
    await end.waitFor();
    let answer;
    const isPressed = new Promise((resolve) => (answer = resolve));
    await page.route('**/window', async (route) => {
        await isPressed;
        await goOn(route);
    });
    for (let i = 0; i < 4; i++) {
        await end.press('ArrowRight');
    }
    assert.strictEqual(await end.getAttribute('aria-valuetext'), '12:20');
    answer();
    await until(async () => (await windowOf(1)).to === '12:20');
    assert.strictEqual(await page.locator('.notice').count(), 0);
    await close(page);
});

test('both times of a window are typed before they are put', async () => {
    await put(1, true, '08:00', '10:00');
    const page = await open(browser, `${camera.url}/#schemes`);
    await page.getByRole('textbox', { name: 'Scheme 1 from' }).fill('20:00');
    await page.keyboard.press('Tab');
    await page.getByRole('textbox', { name: 'Scheme 1 to' }).fill('22:00');
    await page.keyboard.press('Tab');
    await until(async () => (await windowOf(1)).from === '20:00');
    assert.strictEqual((await windowOf(1)).to, '22:00');
    assert.strictEqual(page.requests.filter((request) => request.method() === 'PUT').length, 1);
    await close(page);
});

test('a window is not put when the browser takes the pointer away', async () => {
    await put(1, true, '06:00', '12:00');
    const page = await open(browser, `${camera.url}/#schemes`);
    const lane = page.locator('[data-scheme="1"] .lane');
    await lane.waitFor();
    const { x, y, width, height } = await lane.boundingBox();
    await page.mouse.move(x + width * 0.4, y + height / 2);
    await page.mouse.down();
    await page.mouse.move(x + width * 0.6, y + height / 2);
    await lane.dispatchEvent('pointercancel', { pointerId: 1 });
    await page.mouse.up();
    await lane.getByText('06:00–12:00').waitFor();
    await page.getByRole('slider', { name: 'Scheme 1 to' }).press('ArrowRight');
    await until(async () => (await windowOf(1)).to === '12:05');
    assert.strictEqual((await windowOf(1)).from, '06:00');
    assert.strictEqual(page.requests.filter((request) => request.method() === 'PUT').length, 1);
    await close(page);
});

test('what is operated by the keyboard keeps the focus when the camera has answered', async () => {
    await camera.ask('PUT', '/api/schemes/0', { brightness: 33 });
    await camera.ask('PUT', '/api/schemes/1', { brightness: 66 });
    const page = await open(browser, `${camera.url}/#schemes`);
    const byHand = page.getByRole('radio', { name: 'By hand' });
    await byHand.evaluate((radio) => (radio.isOld = true));
    await page.getByRole('radio', { name: 'By schedule' }).press('ArrowRight');
    await until(() => byHand.evaluate((radio) => !radio.isOld && radio === document.activeElement));
    await camera.ask('PUT', '/api/mode', { mode: 'auto' });
    const first = page.getByRole('combobox', { name: 'First scheme' });
    await first.press('ArrowDown');
    await page.getByText('They hold the same values.').waitFor();
    assert.ok(await first.evaluate((field) => field === document.activeElement));
    await close(page);
});

test('what is selected in a field stays selected when the day is drawn anew', async () => {
    await put(0, true, '06:00', '18:00');
    const page = await open(browser, `${camera.url}/#schemes`);
    const from = page.getByRole('textbox', { name: 'Scheme 0 from' });
    await from.selectText();
    await from.evaluate((field) => (field.isOld = true));
    await put(1, true, '08:00', '11:00');
    await until(() => from.evaluate((field) => !field.isOld && field === document.activeElement));
    await page.keyboard.insertText('07:00');
    await page.keyboard.press('Enter');
    await until(async () => (await windowOf(0)).from === '07:00');
    await close(page);
});

test('a window that another one hides says by which', async () => {
    await put(0, true, '06:00', '18:00');
    await put(1, true, '08:00', '10:00');
    await put(2, true, '17:00', '20:00');
    const page = await open(browser, `${camera.url}/#schemes`);
    await page.locator('[data-scheme="1"]').getByText('Never in force: Scheme 0 covers it.').waitFor();
    await page.locator('[data-scheme="2"]').getByText('Partly covered by Scheme 0.').waitFor();
    const day = page.getByRole('img', { name: '06:00–18:00 Scheme 0, 18:00–20:00 Scheme 2' });
    await day.waitFor();
    await close(page);
});

test('a period over midnight is offered as two schemes', async () => {
    await put(0, true, '06:00', '18:00');
    await put(1, false, '00:00', '24:00');
    await put(2, true, '18:00', '20:00');
    await put(3, true, '20:00', '21:00');
    await camera.ask('PUT', '/api/schemes/0', { brightness: 44 });
    const page = await open(browser, `${camera.url}/#schemes`);
    await page.getByRole('textbox', { name: 'Scheme 0 to' }).waitFor();
    await page.getByRole('textbox', { name: 'Scheme 0 from' }).fill('22:00');
    await page.keyboard.press('Enter');
    await page.getByRole('dialog').getByText('Scheme 0 22:00–24:00 and Scheme 1 00:00–18:00').waitFor();
    await page.getByRole('button', { name: 'Use two schemes' }).click();
    await until(async () => (await windowOf(1)).enabled);
    assert.deepStrictEqual(await windowOf(0), {
        scheme: 0,
        enabled: true,
        from: '22:00',
        to: '24:00',
        neverHolds: false,
    });
    assert.deepStrictEqual(await windowOf(1), {
        scheme: 1,
        enabled: true,
        from: '00:00',
        to: '18:00',
        neverHolds: false,
    });
    const copied = (await camera.ask('GET', '/api/schemes/1')).values.find((row) => row.name === 'KEY_BRIGHTNESS');
    assert.strictEqual(copied.value, 44);
    await close(page);
});

test('a window that the camera refuses says why, and stays as it was', async () => {
    for (const scheme of [0, 1, 2, 3]) {
        await put(scheme, true, '06:00', '18:00');
    }
    const page = await open(browser, `${camera.url}/#schemes`);
    await page.getByRole('textbox', { name: 'Scheme 3 from' }).waitFor();
    await page.getByRole('textbox', { name: 'Scheme 3 from' }).fill('22:00');
    await page.keyboard.press('Enter');
    await page.locator('.notice', { hasText: 'The window must start before it ends' }).waitFor();
    assert.strictEqual((await windowOf(3)).from, '06:00');
    await until(async () => (await page.getByRole('textbox', { name: 'Scheme 3 from' }).inputValue()) === '06:00');
    await close(page);
});

test('a change of somebody else in between is not overwritten', async () => {
    await put(0, true, '06:00', '18:00');
    const page = await open(browser, `${camera.url}/#schemes`);
    await page.getByRole('textbox', { name: 'Scheme 0 from' }).waitFor();
    await page.getByRole('textbox', { name: 'Scheme 0 from' }).fill('07:00');
    await page.route('**/window', async (route) => {
        await put(0, true, '05:00', '19:00');
        await goOn(route);
    });
    await page.keyboard.press('Enter');
    await page.getByText('Somebody changed the camera meanwhile').waitFor();
    assert.strictEqual((await windowOf(0)).from, '05:00');
    await until(async () => (await page.getByRole('textbox', { name: 'Scheme 0 from' }).inputValue()) === '05:00');
    await close(page);
});

test('two schemes are compared, and one copied to the other', async () => {
    await camera.ask('PUT', '/api/schemes/0', { brightness: 33 });
    await camera.ask('PUT', '/api/schemes/1', { brightness: 66 });
    const page = await open(browser, `${camera.url}/#schemes`);
    await page.getByRole('row', { name: 'Brightness 33 % 66 %' }).waitFor();
    await page.getByRole('button', { name: 'Copy values' }).click();
    await page.getByText('They hold the same values.').waitFor();
    await close(page);
});

test('the page shows the change of schemes at the hour that was drawn', async () => {
    const fast = await new Camera(['--at', '00:00', '--speed', '960']).start();
    await fast.ask('PUT', '/api/schemes/0/window', { enabled: false, from: '00:00', to: '24:00' });
    await fast.ask('PUT', '/api/mode', { mode: 'auto' });
    const page = await open(browser, `${fast.url}/#schemes`);
    await page.locator('[data-scheme="1"] .lane').waitFor();
    await draw(page, 1, 9, 21);
    await until(async () => (await fast.ask('GET', '/api/schemes/1/window')).from === '09:00');
    const shown = (scheme) => page.locator('.top').getByText(scheme, { exact: true });
    await fast.ask('PUT', '/api/world', { time: '08:30' });
    await shown('Scheme 1').waitFor();
    await fast.ask('PUT', '/api/world', { time: '20:30' });
    await shown('Default scheme').waitFor();
    const now = await fast.ask('GET', '/api/status');
    assert.ok(now.time >= '21:00' || now.time < '09:00', now.time);
    await close(page);
    await fast.remove();
});
