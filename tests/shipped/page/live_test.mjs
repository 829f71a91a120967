// Live: the picture, and changes that are tried out on it.
import assert from 'node:assert';
import test, { after, before } from 'node:test';
import { Camera, launch, open, until, withPicture } from './support.mjs';

let camera, browser, picture;
before(async () => {
    camera = await new Camera(['--at', '14:00']).start();
    browser = await launch();
    picture = await withPicture(browser, camera.url);
});
after(async () => {
    await browser.close();
    picture.end();
    await camera.remove();
});

const value = async (name) => (await camera.ask('GET', `/api/parameters/${name}`)).onSensor;

test('the picture moves, and tells what each frame was taken with', async () => {
    const page = await open(browser, picture.url);
    const frame = async () => Number(await page.locator('sc-picture').getAttribute('data-frame'));
    await until(async () => (await frame()) > 0);
    const first = await frame();
    await until(async () => (await frame()) > first + 5);
    const told = await page.locator('.overlay').innerText();
    for (const fact of ['Day', '/25 fps', '1/250 s', '6.5 dB', '300 lx', '#']) {
        assert.ok(told.includes(fact), told);
    }
    assert.deepStrictEqual(page.failures, []);
    await page.context().close();
});

test('the picture is held, zoomed and kept as a file', async () => {
    const page = await open(browser, picture.url);
    const shown = page.locator('sc-picture');
    await page.locator('sc-picture.has-picture').waitFor();
    await page.getByRole('button', { name: 'Hold the picture' }).click();
    await page.locator('sc-picture.held').waitFor();
    const held = await shown.getAttribute('data-frame');
    const download = page.waitForEvent('download');
    await page.getByRole('button', { name: 'Snapshot' }).click();
    assert.strictEqual((await download).suggestedFilename(), `snapshot-${held}.jpg`);
    await page.getByRole('button', { name: 'Zoom into the picture' }).click();
    assert.match((await page.locator('sc-picture canvas').first().getAttribute('style')) ?? '', /scale\(1\.5\)/);
    await page.getByRole('button', { name: 'Whole picture' }).click();
    await page.getByRole('button', { name: 'Hold the picture' }).click();
    await until(async () => Number(await shown.getAttribute('data-frame')) > Number(held));
    await page.context().close();
});

test('a change that is tried out stands beside the picture before it, and is taken back or kept', async () => {
    const page = await open(browser, picture.url);
    await page.locator('sc-picture.has-picture').waitFor();
    for (const [end, left] of [
        ['Take back', 50],
        ['Keep', 64],
    ]) {
        await page.getByRole('button', { name: 'Try changes out' }).click();
        await page.getByRole('slider', { name: 'Before and after' }).waitFor();
        await page.getByRole('spinbutton', { name: 'Brightness' }).fill('64');
        await page.keyboard.press('Enter');
        await page.getByText('Trying out: 1 changed').waitFor();
        assert.strictEqual(await value('brightness'), 64);
        assert.strictEqual((await camera.ask('GET', '/api/trials')).trials.length, 1);
        await page.getByRole('button', { name: end }).click();
        await until(async () => (await value('brightness')) === left);
        await until(async () => (await page.getByRole('slider', { name: 'Brightness' }).inputValue()) === String(left));
        assert.deepStrictEqual((await camera.ask('GET', '/api/trials')).trials, []);
    }
    assert.deepStrictEqual(page.failures, []);
    await page.context().close();
});
