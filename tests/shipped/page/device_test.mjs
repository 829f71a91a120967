// A real device behind the camera: its own controls, which no key stands for, and whether it is there.
import assert from 'node:assert';
import test, { after, before } from 'node:test';
import { Camera, close, launch, missingTexts, open, until, violations } from './support.mjs';

let camera, browser;
before(async () => {
    camera = await new Camera(['--at', '14:00']).start();
    browser = await launch();
});
after(async () => {
    await browser.close();
    await camera.remove();
});

const row = async (name) => (await camera.ask('GET', '/api/controls')).controls.find((one) => one.control === name);
const value = async (name) => (await row(name)).value;
const control = (page, name) => page.locator('sc-control', { has: page.getByText(name, { exact: true }) }).first();
const slider = (page) => page.getByRole('slider', { name: 'Hue' });
const type = async (page, hue) => {
    await page.getByRole('spinbutton', { name: 'Hue' }).fill(String(hue));
    await page.keyboard.press('Enter');
};

test('each control is what fits its values, and reaches the device', async () => {
    const page = await open(browser, `${camera.url}/#parameters`);
    await page.getByRole('tab', { name: 'Device' }).click();
    assert.strictEqual(await slider(page).getAttribute('min'), '-180');
    await slider(page).focus();
    await page.keyboard.press('ArrowRight');
    await until(async () => (await value('hue')) === 13);
    const lines = page.getByRole('combobox', { name: 'Power Line Frequency' });
    assert.deepStrictEqual(await lines.locator('option').allTextContents(), ['Disabled', '50 Hz', '60 Hz']);
    await lines.selectOption('60 Hz');
    await until(async () => (await value('power_line_frequency')) === 2);
    await page.getByRole('switch', { name: 'Privacy' }).check();
    await until(async () => (await value('privacy')) === 1);
    await camera.ask('POST', '/api/reload');
    await until(async () => (await slider(page).inputValue()) === '12');
    assert.strictEqual(await lines.inputValue(), '1');
    assert.ok(!(await page.getByRole('switch', { name: 'Privacy' }).isChecked()));
    await close(page);
});

test('a change on one page appears on another, and counts until it is saved', async () => {
    const one = await open(browser, `${camera.url}/#parameters/device`);
    const other = await open(browser, `${camera.url}/#live`);
    await other.getByRole('combobox', { name: 'Parameters' }).selectOption('Device');
    await type(one, 40);
    await until(async () => (await slider(other).inputValue()) === '40');
    await control(other, 'Hue').locator('.mark').waitFor();
    await one.getByRole('tab', { name: 'Device' }).locator('.mark').waitFor();
    await camera.ask('PATCH', '/api/parameters', { contrast: 70 });
    await other.getByRole('button', { name: 'Save (2)' }).waitFor();
    await other.getByRole('button', { name: 'Menu' }).click();
    await other.getByRole('menuitem', { name: /^What is not saved/ }).click();
    await other.getByRole('dialog').getByRole('row', { name: 'Scheme 0 Hue 40 12' }).waitFor();
    await other.keyboard.press('Escape');
    await other.getByRole('button', { name: 'Save (2)' }).click();
    await control(one, 'Hue').locator('.mark').waitFor({ state: 'hidden' });
    assert.strictEqual((await row('hue')).saved, 40);
    await close(one);
    await close(other);
});

test('it is undone, gets its factory value, and tells where its value comes from', async () => {
    await camera.ask('PATCH', '/api/controls', { hue: 40 });
    const page = await open(browser, `${camera.url}/#parameters/device`);
    await type(page, 50);
    await until(async () => (await value('hue')) === 50);
    await page.getByRole('button', { name: 'Undo' }).click();
    await until(async () => (await value('hue')) === 40);
    const more = page.getByRole('button', { name: 'Hue: More' });
    await more.click();
    await page.getByRole('menuitem', { name: /^Factory value/ }).click();
    await until(async () => (await value('hue')) === 0);
    await camera.ask('PUT', '/api/schemes/1/controls', { hue: -9 });
    await more.click();
    await page.getByRole('menuitem', { name: 'Where it comes from' }).click();
    await page.getByRole('dialog').getByText('hue', { exact: true }).waitFor();
    await page.getByRole('dialog').getByRole('row', { name: 'Scheme 1 -9' }).waitFor();
    await page.keyboard.press('Escape');
    await page.getByRole('searchbox').fill('line 60');
    await page.getByRole('combobox', { name: 'Power Line Frequency' }).waitFor();
    await close(page);
});

test('a scheme gets those of another scheme too', async () => {
    await camera.ask('PATCH', '/api/controls', { hue: 25 });
    const page = await open(browser, `${camera.url}/#schemes`);
    await page
        .locator('sc-scheme-compare')
        .getByRole('row', { name: /^Hue 25/ })
        .waitFor();
    await page.getByRole('button', { name: 'Copy values' }).click();
    await until(
        async () =>
            (await camera.ask('GET', '/api/schemes/1/controls')).controls.find((one) => one.control === 'hue').saved ===
            25,
    );
    await close(page);
});

test('a refused change says why, and shows what is in force', async () => {
    await camera.ask('PATCH', '/api/controls', { hue: 10 });
    const page = await open(browser, 'about:blank');
    await page.route('**/api/controls', async (route) => {
        if (route.request().method() !== 'GET') {
            return route.continue();
        }
        const answer = await route.fetch();
        const body = await answer.text(); // of a device that allows less by now
        return route.fulfill({ response: answer, body: body.replace('"maximum":180', '"maximum":999') });
    });
    await page.goto(`${camera.url}/#parameters/device`);
    await type(page, 200);
    await page.getByText('Hue must be between -180 and 180').waitFor();
    await until(async () => (await slider(page).inputValue()) === '10');
    await close(page);
});

test('while others are tried out it is kept, and that is said', async () => {
    const page = await open(browser, `${camera.url}/#live`);
    await page.getByRole('combobox', { name: 'Parameters' }).selectOption('Device');
    await page.getByRole('button', { name: 'Try changes out' }).click();
    await type(page, 33);
    await page.getByText("The camera's own controls cannot be tried out: this one is kept.").waitFor();
    await until(async () => (await value('hue')) === 33);
    await page.getByRole('button', { name: 'Take back' }).click();
    assert.strictEqual(await slider(page).inputValue(), '33');
    await close(page);
});

test('of a device that is unplugged the page says so, and of each value that waits for it', async () => {
    const page = await open(browser, `${camera.url}/#parameters/device`, { locale: 'de' });
    await page.getByRole('heading', { name: 'Eigene Einstellungen der Kamera' }).waitFor();
    const banner = page.getByText('Die Kamera ist nicht angeschlossen.');
    assert.ok(await banner.isHidden());
    const pull = page.getByRole('button', { name: 'Reset Pan' }); // so does this device
    await pull.click();
    await banner.waitFor();
    assert.ok(
        await page.evaluate(() => {
            const [note, first] = ['.banner.away', 'main input'].map((what) => document.querySelector(what));
            return note.getBoundingClientRect().bottom <= first.getBoundingClientRect().top;
        }),
    ); // nothing that is in use is covered
    const waits = control(page, 'Hue').getByText('Wird gesendet, sobald die Kamera wieder da ist.');
    await waits.waitFor();
    await type(page, -20);
    await until(async () => (await value('hue')) === -20);
    await pull.click();
    await banner.waitFor({ state: 'hidden' });
    await waits.waitFor({ state: 'hidden' });
    await close(page);
});

test('nothing keeps anybody from using it, light and dark, in both languages', async () => {
    await camera.ask('PATCH', '/api/controls', { hue: 7, reset_pan: 1 });
    for (const [locale, colorScheme, width] of [
        ['en', 'light', 1280],
        ['de', 'dark', 390],
    ]) {
        const viewport = { width, height: 900 };
        const page = await open(browser, 'about:blank', { locale, colorScheme, viewport, bypassCSP: true });
        for (const where of ['parameters/device', 'live', 'diagnostics']) {
            await page.goto(`${camera.url}/#${where}`);
            await page.locator('.banner.away').waitFor();
            await page.locator('main h2').first().waitFor();
            assert.deepStrictEqual(await missingTexts(page), [], `${where} ${locale}`);
            assert.deepStrictEqual(await violations(page), [], `${where} ${locale}`);
            assert.ok(await page.evaluate(() => document.documentElement.scrollWidth <= innerWidth), where);
        }
        await close(page);
    }
    await camera.ask('PATCH', '/api/controls', { reset_pan: 1 });
});
