// The camera goes away and comes back, somebody has to log in, and nothing comes from elsewhere.
import assert from 'node:assert';
import { spawn } from 'node:child_process';
import path from 'node:path';
import test, { after, before } from 'node:test';
import { Camera, close, hide, launch, open, sensorcam, until } from './support.mjs';

let camera, browser;
before(async () => {
    camera = await new Camera(['--at', '14:00']).start();
    browser = await launch();
});
after(async () => {
    await browser.close();
    await camera.remove();
});

/** The killed camera is started again, and the page has noticed. */
async function comeBack(page) {
    await until(() =>
        camera.start().then(
            () => true,
            () => false,
        ),
    ); // what was killed may be ending still
    await page.getByRole('alert').waitFor({ state: 'hidden' });
}

test('a camera that is killed and started again under an open page is noticed', async () => {
    const page = await open(browser, `${camera.url}/#parameters`);
    await page.getByRole('slider', { name: 'Brightness' }).waitFor();
    await camera.ask('PATCH', '/api/parameters', { brightness: 71 });
    await camera.ask('POST', '/api/save');
    await camera.ask('PATCH', '/api/parameters', { brightness: 99 });
    await until(async () => (await page.getByRole('slider', { name: 'Brightness' }).inputValue()) === '99');
    await camera.end('SIGKILL');
    await page.getByRole('alert').getByText('Connection lost').waitFor();
    assert.ok(await page.locator('main').evaluate((main) => main.inert));
    await comeBack(page);
    await until(async () => (await page.getByRole('slider', { name: 'Brightness' }).inputValue()) === '71');
    await page.getByRole('spinbutton', { name: 'Brightness' }).fill('72');
    await page.keyboard.press('Enter');
    await until(async () => (await camera.ask('GET', '/api/parameters/brightness')).value === 72);
    await close(page);
});

test('a page that is chosen while the camera is away is shown when it is back, and a held picture stays', async () => {
    const page = await open(browser, camera.url);
    const shown = page.locator('sc-picture');
    await page.locator('sc-picture.has-picture').waitFor();
    await page.getByRole('button', { name: 'Hold the picture' }).click();
    await page.locator('sc-picture.held').waitFor();
    const lost = page.getByRole('alert').getByText('Connection lost');
    await camera.end('SIGKILL');
    await lost.waitFor();
    await comeBack(page);
    assert.strictEqual(await shown.getAttribute('data-state'), 'live');
    assert.ok(await page.locator('sc-picture canvas').first().isVisible());

    await camera.end('SIGKILL');
    await lost.waitFor();
    await page.getByRole('link', { name: 'World' }).click();
    await comeBack(page);
    await page.getByRole('slider', { name: 'Clock' }).waitFor();
    assert.strictEqual(await page.locator('sc-live').count(), 0);
    await close(page);
});

test('a page whose first question was lost asks again', async () => {
    const page = await open(browser, camera.url);
    await page.getByRole('slider', { name: 'Brightness' }).waitFor();
    for (const [name, where, shown] of [
        ['Lens', '**/api/lens', 'Measure'],
        ['World', '**/api/world', 'Sunshine'],
    ]) {
        await page.route(where, (route) => route.abort(), { times: 1 });
        await page.getByRole('link', { name }).click();
        await page.getByRole('button', { name: shown }).waitFor();
    }
    await close(page);
});

test('a camera without a picture says so', async () => {
    const page = await open(browser, camera.url);
    await page.route('**/api/stream.mjpg', (route) =>
        route.fulfill({ status: 404, contentType: 'application/problem+json', body: '{"code": "not-on-device"}' }),
    );
    await page.reload();
    await page.getByText('This camera delivers no picture').waitFor();
    await page.route('**/api/stream.mjpg', (route) =>
        route.fulfill({ status: 503, contentType: 'application/problem+json', body: '{"detail": "no such module"}' }),
    );
    await page.reload();
    await page.getByText('No picture; trying again').waitFor();
    await page.getByText('no such module').waitFor();
    await close(page);
});

test('the first load is small, and comes from the camera alone', async () => {
    const page = await open(browser, 'about:blank');
    const sizes = [];
    page.on('requestfinished', (request) => {
        assert.ok(request.url().startsWith(camera.url), request.url());
        if (!request.url().endsWith('.jpg') && !request.url().endsWith('.mjpg')) {
            sizes.push(request.sizes().then(({ responseBodySize }) => responseBodySize));
        }
    });
    await page.goto(camera.url);
    await page.getByRole('slider', { name: 'Brightness' }).waitFor();
    const total = (await Promise.all(sizes)).reduce((sum, size) => sum + size, 0);
    assert.ok(total > 0 && total < 150 * 1024, `${total} bytes`);
    await close(page);
});

test('light and dark, and the language, are chosen and stay', async () => {
    const page = await open(browser, camera.url);
    const ground = () => page.evaluate(() => getComputedStyle(document.documentElement).backgroundColor);
    await page.getByRole('button', { name: 'Menu' }).click();
    await page.getByRole('menuitemradio', { name: 'Dark colours' }).click();
    const dark = await ground();
    await page.getByRole('button', { name: 'Menu' }).press('Enter');
    await page.getByRole('menuitemradio', { name: 'Deutsch' }).click();
    await page.getByRole('slider', { name: 'Helligkeit' }).waitFor();
    await page.reload();
    await page.getByRole('slider', { name: 'Helligkeit' }).waitFor();
    assert.strictEqual(await ground(), dark);
    assert.strictEqual(await page.evaluate(() => document.documentElement.lang), 'de');
    await close(page);
});

test('all is reached by the keyboard', async () => {
    const page = await open(browser, camera.url);
    await page.getByRole('slider', { name: 'Brightness' }).waitFor();
    await page.keyboard.press('Tab');
    assert.strictEqual(await page.evaluate(() => document.activeElement?.textContent), 'Skip to the page');
    const reached = new Set();
    for (let i = 0; i < 60; i++) {
        await page.keyboard.press('Tab');
        reached.add(
            await page.evaluate(
                () => document.activeElement?.getAttribute('aria-label') ?? document.activeElement?.textContent,
            ),
        );
    }
    for (const name of [
        'Parameters',
        'Schemes',
        'Lens',
        'World',
        'Diagnostics',
        'Menu',
        'Hold the picture',
        'Try changes out',
    ]) {
        assert.ok(reached.has(name), `${name} is not among ${[...reached].join(', ')}`);
    }
    await close(page);
});

/** Sets a password, as somebody would at a terminal. */
async function addUser(file, name, role, password) {
    const asked = spawn(sensorcam, ['passwd', '--role', role, file, name], { stdio: ['pipe', 'ignore', 'inherit'] });
    asked.stdin.end(`${password}\n${password}\n`);
    assert.strictEqual(await new Promise((resolve) => asked.once('exit', resolve)), 0);
}

test('a camera with users asks who one is, and lets a viewer change nothing', async () => {
    const guarded = new Camera(['--at', '14:00']);
    const users = path.join(guarded.folder, 'users');
    await addUser(users, 'otto', 'operator', 'correct horse');
    await addUser(users, 'vera', 'viewer', 'battery staple');
    guarded.serving = ['--users', users];
    await guarded.start();
    const page = await open(browser, guarded.url, { locale: 'de' });
    await page.getByLabel('Name').fill('otto');
    await hide(page, true);
    await hide(page, false);
    await page.getByLabel('Kennwort').fill('wrong horse');
    await page.getByRole('button', { name: 'Anmelden' }).click();
    await page.getByText('Name oder Kennwort ist falsch.').waitFor();
    await page.getByLabel('Kennwort').fill('correct horse');
    await page.keyboard.press('Enter');
    await page.getByRole('spinbutton', { name: 'Helligkeit' }).fill('63');
    await page.keyboard.press('Enter');
    await page.getByRole('button', { name: 'Speichern (1)' }).waitFor();
    await page.getByRole('button', { name: 'Menü' }).click();
    assert.ok(await page.getByRole('menuitem', { name: 'Werkseinstellungen' }).isDisabled());
    await page.getByRole('menuitem', { name: /^Abmelden/ }).click();
    await page.getByLabel('Name').fill('vera');
    await page.getByLabel('Kennwort').fill('battery staple');
    await page.keyboard.press('Enter');
    await page.getByRole('slider', { name: 'Helligkeit' }).waitFor();
    assert.ok(await page.getByRole('slider', { name: 'Helligkeit' }).isDisabled());
    assert.strictEqual(await page.getByRole('slider', { name: 'Helligkeit' }).inputValue(), '63');
    await close(page);
    await guarded.remove();
});
