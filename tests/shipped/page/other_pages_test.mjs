// Lens, World and Diagnostics: each page's main task.
import assert from 'node:assert';
import { readFileSync, writeFileSync } from 'node:fs';
import path from 'node:path';
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

test('the lens moves for as long as the button is pressed, and to the position that is typed', async () => {
    const page = await open(browser, `${camera.url}/#lens`);
    const before = (await camera.ask('GET', '/api/lens')).zoom;
    const steps = () => page.requests.filter((request) => request.url().endsWith('/api/lens/zoom-in')).length;
    const button = page.getByRole('button', { name: 'Zoom in' });
    await button.hover();
    await page.mouse.down();
    await until(() => steps() >= 3);
    await page.mouse.up();
    await until(async () => !(await camera.ask('GET', '/api/lens')).zoomMoving);
    const after_ = await camera.ask('GET', '/api/lens');
    assert.ok(after_.zoom > before);
    await page.locator('.figures').getByText(after_.zoom.toLocaleString('en'), { exact: true }).waitFor();
    await button.press('Enter');
    await until(async () => (await camera.ask('GET', '/api/lens')).zoom > after_.zoom);
    await page.getByRole('spinbutton', { name: /^Zoom position/ }).fill('20000');
    await page.keyboard.press('Enter');
    await until(async () => (await camera.ask('GET', '/api/lens')).zoom === 20000);
    await close(page);
});

test('the focus curve is measured, and the lens stays where it was sharpest', async () => {
    const page = await open(browser, `${camera.url}/#lens`);
    await until(async () => !(await camera.ask('GET', '/api/lens')).zoomMoving);
    await camera.ask('PUT', '/api/lens', { focusMode: 1 });
    await page.getByRole('button', { name: 'Measure' }).click();
    await until(async () => (await page.locator('.curve circle.point').count()) > 20);
    await until(() => page.getByRole('button', { name: 'Measure' }).isEnabled());
    await page.getByRole('img', { name: /^Sharpness over focus position; sharpest at/ }).waitFor();
    await close(page);
});

test('light, time and speed of the world are set, the camera changes to night, and a device fails', async () => {
    const page = await open(browser, `${camera.url}/#world`);
    await page.getByRole('button', { name: 'Moonlight' }).click();
    await until(async () => (await camera.ask('GET', '/api/world')).lux === 0.2);
    await page.getByRole('slider', { name: 'Clock' }).fill('1380');
    await until(async () => (await camera.ask('GET', '/api/world')).time.startsWith('23:0'));
    await page.locator('.figures').getByText('Night', { exact: true }).waitFor();
    await page.getByRole('button', { name: 'Sunshine' }).click();
    for (const speed of [60, 1]) {
        await page.getByRole('radio', { name: `${speed}×`, exact: true }).click();
        await until(async () => (await camera.ask('GET', '/api/world')).speed === speed);
    }
    await page.getByRole('combobox', { name: 'Parameter' }).selectOption({ label: 'Sharpness' });
    await page.getByRole('button', { name: 'Add' }).click();
    await page.getByText('Sharpness: 1 × status -4').waitFor();
    assert.strictEqual((await camera.ask('GET', '/api/world')).faults[0].name, 'KEY_SHARPNESS');
    await page.getByRole('button', { name: 'Remove' }).click();
    await until(async () => (await camera.ask('GET', '/api/world')).faults.length === 0);
    await close(page);
});

test('the weather is changed on one page, and another shows it', async () => {
    const page = await open(browser, `${camera.url}/#world`);
    const other = await open(browser, `${camera.url}/#world`);
    await other.getByRole('slider', { name: 'Wind' }).waitFor();
    await page.getByRole('slider', { name: 'Haze' }).fill('80');
    await page.getByRole('slider', { name: 'Wind' }).fill('100');
    await until(async () => {
        const { haze, wind } = await camera.ask('GET', '/api/world');
        return haze === 80 && wind === 100;
    });
    await until(async () => (await other.getByRole('slider', { name: 'Haze' }).inputValue()) === '80');
    await until(async () => (await other.getByRole('slider', { name: 'Wind' }).inputValue()) === '100');
    await close(page);
    await close(other);
});

test("the library's lines are read as they come, by the words that they contain", async () => {
    const page = await open(browser, `${camera.url}/#diagnostics`);
    await page.getByRole('combobox', { name: 'Debug level' }).selectOption('6');
    await until(async () => (await camera.ask('GET', '/api/diagnostics')).level === 6);
    await page.getByRole('searchbox', { name: 'Only lines with this text' }).fill('KEY_CONTRAST');
    await page.getByRole('button', { name: 'Listen' }).click();
    await page.getByText('Waiting for the next line').waitFor();
    await until(async () => {
        const { value } = await camera.ask('GET', '/api/parameters/contrast');
        await camera.ask('PATCH', '/api/parameters', { contrast: value === 55 ? 56 : 55, brightness: value });
        return (await page.getByRole('log').innerText()).includes('set KEY_CONTRAST');
    });
    assert.ok(!(await page.getByRole('log').innerText()).includes('KEY_BRIGHTNESS'));
    await page.getByRole('button', { name: 'Stop' }).click();
    await page.locator('.events').getByText('Values').first().waitFor();
    await page.getByRole('button', { name: 'Back to the start' }).click();
    await until(async () => (await camera.ask('GET', '/api/diagnostics')).level === 1);
    await close(page);
});

test('schemes are exported, and an import shows what it would do before it does it', async () => {
    const page = await open(browser, `${camera.url}/#diagnostics`);
    const download = page.waitForEvent('download');
    await page.getByRole('button', { name: 'Export all schemes' }).click();
    const schemes = JSON.parse(readFileSync(await (await download).path(), 'utf8'));
    assert.strictEqual(schemes.format, 'sensorcam-schemes');
    schemes.schemes[2].values.KEY_BRIGHTNESS = 57;
    schemes.schemes[2].values.KEY_CONTRAST = 300;
    const file = path.join(camera.folder, 'changed.json');
    writeFileSync(file, JSON.stringify(schemes));
    await page.locator('input[type=file]').setInputFiles(file);
    await page.getByText('1 values would change, 1 do not fit and are skipped.').waitFor();
    await page.getByRole('row', { name: 'Scheme 2 KEY_BRIGHTNESS 50 57 applied' }).waitFor();
    assert.strictEqual((await camera.ask('GET', '/api/parameters/brightness')).inSchemes[2].value, 50);
    await page.getByRole('button', { name: 'Import' }).last().click();
    await until(async () => (await camera.ask('GET', '/api/parameters/brightness')).inSchemes[2].value === 57);
    await close(page);
});

test('documents are shown as they are served, and values are set as text', async () => {
    const page = await open(browser, `${camera.url}/#diagnostics`);
    await page.getByRole('button', { name: 'Show' }).click();
    await page.getByText('<SensorStyle version="1">').waitFor();
    await page.getByRole('textbox', { name: 'Values as text' }).fill('(34,58)(2353,41)');
    await page.getByRole('button', { name: 'Apply' }).click();
    await until(async () => (await camera.ask('GET', '/api/parameters/brightness')).value === 58);
    assert.strictEqual((await camera.ask('GET', '/api/parameters/contrast')).value, 41);
    await close(page);
});
