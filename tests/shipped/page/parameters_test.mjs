// Parameters: what is moved reaches the camera, and what the camera does reaches the page.
import assert from 'node:assert';
import test, { after, before } from 'node:test';
import { Camera, close, launch, open, until } from './support.mjs';

let camera, browser;
before(async () => {
    camera = await new Camera(['--at', '14:00']).start();
    browser = await launch();
});
after(async () => {
    await browser.close();
    await camera.remove();
});

const value = async (name) => (await camera.ask('GET', `/api/parameters/${name}`)).value;
const control = (page, name) => page.locator('sc-control', { has: page.getByText(name, { exact: true }) }).first();

test('a slider that is dragged sends at most ten changes a second, and the last one always', async () => {
    const page = await open(browser, 'about:blank');
    await page.clock.install(); // seconds are counted as the page counts them
    await page.goto(`${camera.url}/#parameters`);
    const slider = page.getByRole('slider', { name: 'Brightness' });
    await slider.focus();
    await page.clock.pauseAt(Date.now() + 3600_000);
    const changes = () => page.requests.filter((request) => request.method() === 'PATCH').length;
    for (let i = 0; i < 40; i++) {
        await page.keyboard.press('ArrowRight');
        await page.clock.runFor(25);
    }
    assert.ok(changes() >= 1 && changes() <= 11, `${changes()} changes in a second`);
    assert.strictEqual(await slider.inputValue(), '90');
    await until(async () => {
        await page.clock.runFor(100);
        return (await value('brightness')) === 90;
    });
    await close(page);
});

test('a change on one page appears on another, with its mark, until it is saved', async () => {
    const one = await open(browser, `${camera.url}/#parameters`);
    const other = await open(browser, `${camera.url}/#live`);
    await other.getByRole('slider', { name: 'Contrast' }).waitFor();
    await one.getByRole('spinbutton', { name: 'Contrast' }).fill('70');
    await one.keyboard.press('Enter');
    await until(async () => (await other.getByRole('slider', { name: 'Contrast' }).inputValue()) === '70');
    await control(other, 'Contrast').locator('.mark').waitFor();
    await other.getByRole('button', { name: /^Save \(/ }).click();
    await control(one, 'Contrast').locator('.mark').waitFor({ state: 'hidden' });
    assert.deepStrictEqual((await camera.ask('GET', '/api/unsaved')).values, []);
    await close(one);
    await close(other);
});

test('undo takes back what was changed here, and leaves what somebody else has changed since', async () => {
    const page = await open(browser, `${camera.url}/#parameters`);
    await camera.ask('PATCH', '/api/parameters', { saturation: 50, sharpness: 50 });
    await page.getByRole('spinbutton', { name: 'Saturation' }).fill('60');
    await page.keyboard.press('Enter');
    await until(async () => (await value('saturation')) === 60);
    await page.getByRole('button', { name: 'Undo' }).click();
    await until(async () => (await value('saturation')) === 50);
    await page.getByRole('button', { name: 'Redo' }).click();
    await until(async () => (await value('saturation')) === 60);
    await page.keyboard.press('Control+z');
    await until(async () => (await value('saturation')) === 50);
    await page.getByRole('spinbutton', { name: 'Sharpness' }).fill('60');
    await page.keyboard.press('Enter');
    await until(async () => (await value('sharpness')) === 60);
    await camera.ask('PATCH', '/api/parameters', { sharpness: 75 });
    await until(async () => (await page.getByRole('slider', { name: 'Sharpness' }).inputValue()) === '75');
    await page.getByRole('button', { name: 'Undo' }).click();
    await page.getByText('Somebody else has changed it since').waitFor();
    assert.strictEqual(await value('sharpness'), 75);
    await close(page);
});

test('switches that cannot be on at the same time say so', async () => {
    const page = await open(browser, `${camera.url}/#parameters/compensation`);
    const backlight = page.getByRole('switch', { name: 'Backlight compensation' });
    assert.ok(await backlight.isEnabled());
    await page.getByRole('switch', { name: 'Highlight compensation' }).check();
    await page.getByText('Backlight compensation and Highlight compensation cannot be on at the same time.').waitFor();
    assert.ok(await backlight.isDisabled());
    await page.getByRole('slider', { name: 'Highlight compensation strength' }).waitFor();
    await page.getByRole('switch', { name: 'Highlight compensation' }).uncheck();
    await until(() => backlight.isEnabled());
    assert.ok(await page.getByRole('slider', { name: 'Highlight compensation strength' }).isHidden());
    await close(page);
});

test('the documents alone say what there is: a choice that the sensor does not support is absent', async () => {
    const page = await open(browser, `${camera.url}/#parameters/wdr`);
    const modes = page.getByRole('combobox', { name: 'Wide dynamic range' });
    await modes.waitFor();
    assert.deepStrictEqual(await modes.locator('option').allTextContents(), ['Off', 'Digital', 'Two exposures']);
    await close(page);
});

test('the documents alone say what there is: a page that they add appears', async () => {
    const page = await open(browser, 'about:blank');
    await page.route('**/api/style', async (route) => {
        const added =
            '<tab key="own" text="sharpness"><group text="gamma"><notice id="0" text="wdr_not_offered"/>' +
            '<slider id="34" value="50" min="0" max="100" step="1" unit="percent" text="brightness"/></group></tab>';
        const answer = await route.fetch();
        const body = (await answer.text()).replace('</SensorStyle>', `${added}</SensorStyle>`);
        await route.fulfill({ response: answer, body });
    });
    await page.goto(`${camera.url}/#parameters`);
    await page.getByRole('tab', { name: 'Sharpness' }).click();
    await page.getByRole('slider', { name: 'Brightness' }).waitFor();
    await page.getByText('Not available at 50 or 60 frames per second.').waitFor();
    await close(page);
});

test('the search finds a key by its name, its number and what it is called', async () => {
    const page = await open(browser, `${camera.url}/#parameters`);
    const search = page.getByRole('searchbox');
    for (const words of ['noise 3d', 'KEY_3D_NR_SWITCH', '2308']) {
        await search.fill(words);
        await page.getByRole('switch', { name: '3D noise reduction' }).waitFor();
    }
    await search.fill('1537'); // no control of the style document has it
    await page.getByText('KEY_AUTO_FOCUS_NEAR_LIMIT · 1537').waitFor();
    await page.getByRole('tabpanel').getByRole('link', { name: 'All keys' }).click();
    await page.getByRole('spinbutton', { name: 'KEY_AUTO_FOCUS_NEAR_LIMIT' }).waitFor();
    await search.fill('nothing of that name');
    await page.getByText('No parameter is called so.').waitFor();
    await close(page);
});

test('in the table of all keys the next field is reached by the keyboard', async () => {
    const page = await open(browser, `${camera.url}/#parameters/all-keys`);
    const brightness = page.getByRole('spinbutton', { name: 'KEY_BRIGHTNESS' });
    await brightness.fill('47');
    await page.keyboard.press('Tab');
    await until(async () => (await value('brightness')) === 47);
    assert.ok(await page.evaluate(() => document.activeElement.closest('sc-all-keys') !== null));
    const more = page.getByRole('button', { name: 'KEY_BRIGHTNESS: More' });
    await more.press('Enter');
    await page.getByRole('menuitem', { name: /^Factory value/ }).press('Enter');
    await until(async () => (await value('brightness')) === 50);
    await until(async () => (await brightness.inputValue()) === '50');
    await close(page);
});

test('a field that is left shows what somebody else has set meanwhile', async () => {
    await camera.ask('PATCH', '/api/parameters', { contrast: 50 });
    const page = await open(browser, `${camera.url}/#parameters`);
    const contrast = page.getByRole('spinbutton', { name: 'Contrast' });
    await contrast.focus();
    await camera.ask('PATCH', '/api/parameters', { contrast: 71 });
    await until(async () => (await page.getByRole('slider', { name: 'Contrast' }).inputValue()) === '71');
    await page.keyboard.press('Tab');
    assert.strictEqual(await contrast.inputValue(), '71');
    await close(page);
});

test('a key gets its factory value, and tells where its value comes from', async () => {
    const page = await open(browser, `${camera.url}/#parameters`);
    await camera.ask('PATCH', '/api/parameters', { gamma: 3 });
    const gamma = control(page, 'Gamma');
    await gamma.getByText('Factory: Standard').waitFor();
    await gamma.getByRole('button', { name: 'Gamma: More' }).click();
    await page.getByRole('menuitem', { name: 'Where it comes from' }).click();
    await page.getByRole('dialog').getByText('KEY_GAMMA · 2528').waitFor();
    await page.keyboard.press('Escape');
    await gamma.getByRole('button', { name: 'Gamma: More' }).press('Enter');
    await page.getByRole('menuitem', { name: /^Factory value/ }).press('Enter');
    await until(async () => (await value('gamma')) === 0);
    await close(page);
});

test('a refused change says why, and shows what is in force', async () => {
    const page = await open(browser, `${camera.url}/#parameters`);
    await camera.ask('PATCH', '/api/parameters', { brightness: 50 });
    await camera.ask('PUT', '/api/world', { faults: [{ key: 'brightness', status: -4 }] });
    await page.getByRole('spinbutton', { name: 'Brightness' }).fill('55');
    await page.keyboard.press('Enter');
    await page.getByText('The camera refused 55 for Brightness.').waitFor();
    await until(async () => (await page.getByRole('slider', { name: 'Brightness' }).inputValue()) === '50');
    await close(page);
});

test('of controls that only a real device has there is nothing', async () => {
    const page = await open(browser, `${camera.url}/#parameters/device`);
    await page.getByRole('slider', { name: 'Brightness' }).waitFor();
    await camera.ask('PATCH', '/api/parameters', { contrast: 72 });
    await until(async () => (await page.getByRole('slider', { name: 'Contrast' }).inputValue()) === '72');
    assert.strictEqual(await page.getByRole('tab', { name: 'Device' }).count(), 0);
    await page.goto(`${camera.url}/#schemes`);
    await page.locator('sc-scheme-compare table').waitFor();
    const paths = page.requests.map((request) => new URL(request.url()).pathname);
    assert.deepStrictEqual(
        paths.filter((where) => where.endsWith('/controls') || where === '/api/device'),
        [],
    );
    await close(page);
});
