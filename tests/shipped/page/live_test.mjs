// Live: the picture, and changes that are tried out on it.
import assert from 'node:assert';
import test, { after, before } from 'node:test';
import { Camera, close, goOn, hideAndShow, keepBack, launch, open, until, watchFrames } from './support.mjs';

let camera, browser;
before(async () => {
    camera = await new Camera(['--at', '14:00']).start();
    browser = await launch();
});
after(async () => {
    await browser.close();
    await camera.remove();
});

const value = async (name) => (await camera.ask('GET', `/api/parameters/${name}`)).onSensor;

test('the picture moves, and tells what each frame was taken with', async () => {
    const page = await open(browser, camera.url);
    const frame = async () => Number(await page.locator('sc-picture').getAttribute('data-frame'));
    await until(async () => (await frame()) > 0);
    const first = await frame();
    await until(async () => (await frame()) > first + 5);
    const told = /^Day\s+\d+\/25 fps\s+1\/\d+ s\s+[\d.]+ dB\s+300 lx\s+#\d+$/;
    await until(async () => told.test(await page.locator('.overlay').innerText()));
    await page.locator('.signals').getByText('300 lx', { exact: true }).waitFor();
    await page
        .locator('.signals')
        .getByText(/^[\d.]+ % black · [\d.]+ % white$/)
        .waitFor();
    await close(page);
});

/** Drags a slider to where its value is, in one movement. */
async function drag(page, name, value) {
    const slider = page.getByRole('slider', { name });
    const box = await slider.boundingBox();
    const at = async () => Number(await slider.inputValue());
    const x = (share) => box.x + 10 + ((box.width - 20) * share) / 100;
    await page.mouse.move(x(await at()), box.y + box.height / 2);
    await page.mouse.down();
    await page.mouse.move(x(value), box.y + box.height / 2);
    await page.mouse.up();
    const reached = await at();
    assert.ok(Math.abs(reached - value) <= 3, `dragged to ${reached}, not to ${value}`);
    return reached;
}

test('brightness that is dragged is in the picture two frames later', async () => {
    const page = await open(browser, 'about:blank');
    // The number of the newest frame that the camera has when a change was answered.
    await page.addInitScript(() => {
        const plain = globalThis.fetch;
        globalThis.answered_ = [];
        globalThis.fetch = async (where, options) => {
            const answer = await plain(where, options);
            if (options?.method === 'PATCH') {
                const newest = await plain('/api/snapshot.jpg');
                globalThis.answered_.push(Number(newest.headers.get('X-Frame-Number')));
                await newest.body.cancel();
            }
            return answer;
        };
    });
    await page.goto(camera.url);
    const frames = await watchFrames(page);
    const mean = (seen) => seen.reduce((sum, frame) => sum + frame.mean, 0) / seen.length;
    await until(async () => (await frames()).length >= 10);
    let before = mean((await frames()).slice(-10));
    const sent = () => page.requests.filter((request) => request.method() === 'PATCH').length;
    const answered = () => page.evaluate(() => globalThis.answered_);
    for (const wanted of [90, 20, 80, 50]) {
        const reached = await drag(page, 'Brightness', wanted);
        await until(async () => (await value('brightness')) === reached && (await answered()).length === sent());
        const newest = (await answered()).at(-1);
        const behind = async () => (await frames()).filter((frame) => frame.number > newest);
        await until(async () => (await behind()).length >= 12);
        // The first of them may have been begun before the change.
        const [first, ...changed] = await behind();
        const after = mean(changed.slice(-10));
        assert.ok(Math.abs(after - before) > 20, `from ${before} to ${after}`);
        for (const frame of changed) {
            const isChanged = Math.abs(frame.mean - after) < Math.abs(frame.mean - before);
            assert.ok(isChanged, `${newest}, ${first.number}, ${JSON.stringify(frame)}: from ${before} to ${after}`);
        }
        before = after;
    }
    await close(page);
});

test('the picture is held, zoomed and kept as a file', async () => {
    const page = await open(browser, camera.url);
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
    await close(page);
});

test('a change that is tried out stands beside the picture before it, and is taken back or kept', async () => {
    const page = await open(browser, camera.url);
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
    await close(page);
});

/** Types the value of a parameter. */
async function type(page, name, value) {
    await page.getByRole('spinbutton', { name }).fill(String(value));
    await page.keyboard.press('Enter');
}

/** Everything is as in the beginning. */
async function reset() {
    await camera.ask('POST', '/api/reset');
    await until(async () => (await camera.ask('GET', '/api/unsaved')).values.length === 0);
}

const remembered = async (name) => (await camera.ask('GET', `/api/parameters/${name}`)).value;
const shows = (page, name, value) =>
    until(
        async () => (await page.getByRole('slider', { name }).inputValue()) === String(value),
        `${name} is shown at ${value}`,
    );

test('a trial goes on while the tab is in the background, and is kept', async () => {
    await reset();
    const page = await open(browser, camera.url);
    await page.getByRole('button', { name: 'Try changes out' }).click();
    await type(page, 'Brightness', 64);
    await page.getByText('Trying out: 1 changed').waitFor();
    await hideAndShow(page);
    await page.getByRole('button', { name: 'Keep' }).click();
    await until(async () => (await remembered('brightness')) === 64);
    await shows(page, 'Brightness', 64);
    await close(page);
});

test('a trial that ended while the tab was in the background is over', async () => {
    await reset();
    const page = await open(browser, camera.url);
    await page.getByRole('button', { name: 'Try changes out' }).click();
    await type(page, 'Brightness', 64);
    await page.getByText('Trying out: 1 changed').waitFor();
    await hideAndShow(page, async () => {
        const { trials } = await camera.ask('GET', '/api/trials');
        await camera.ask('DELETE', `/api/trials/${trials[0].trial}`);
    });
    await page.getByText('What was tried out has been taken back.').waitFor();
    await page.getByRole('button', { name: 'Keep' }).waitFor({ state: 'hidden' });
    await shows(page, 'Brightness', 50);
    await close(page);
});

test('what is on its way to the camera is kept, taken back and saved with the rest', async () => {
    await reset();
    const page = await open(browser, camera.url);
    const asked = (method) => page.requests.some((request) => request.method() === method);
    const patch = '**/api/parameters*';
    await page.getByRole('button', { name: 'Try changes out' }).click();
    let letGo = await keepBack(page, patch, 'PATCH');
    await type(page, 'Brightness', 64);
    await page.getByRole('button', { name: 'Take back' }).click();
    letGo();
    await until(() => asked('DELETE'), 'the trial is taken back');
    await shows(page, 'Brightness', 50);

    await page.getByRole('button', { name: 'Try changes out' }).click();
    await type(page, 'Brightness', 64);
    await page.getByText('Trying out: 1 changed').waitFor();
    letGo = await keepBack(page, patch, 'PATCH');
    await type(page, 'Brightness', 70);
    await page.getByRole('button', { name: 'Keep' }).click();
    letGo();
    await until(async () => (await remembered('brightness')) === 70);

    await page.getByRole('button', { name: 'Save (1)' }).waitFor();
    letGo = await keepBack(page, patch, 'PATCH');
    await type(page, 'Brightness', 71);
    await page.getByRole('button', { name: 'Save (1)' }).click();
    letGo();
    await until(async () => {
        const { values } = await camera.ask('GET', '/api/unsaved');
        return values.length === 0 && (await remembered('brightness')) === 71;
    });
    await close(page);
});

test('a trial that the page comes back to has no picture before it', async () => {
    await reset();
    const page = await open(browser, `${camera.url}/#live`);
    await page.locator('sc-picture.has-picture').waitFor();
    await page.getByRole('button', { name: 'Try changes out' }).click();
    const divider = page.getByRole('slider', { name: 'Before and after' });
    await divider.waitFor();
    await type(page, 'Brightness', 64);
    await page.getByText('Trying out: 1 changed').waitFor();
    await page.getByRole('link', { name: 'Parameters' }).click();
    await page.locator('sc-parameters').waitFor();
    await page.getByRole('link', { name: 'Live' }).click();
    await page.locator('sc-picture.has-picture').waitFor();
    assert.ok(!(await page.getByRole('button', { name: 'Try changes out' }).isVisible()));
    await type(page, 'Contrast', 60);
    await page.getByText('Trying out: 2 changed').waitFor();
    assert.ok(!(await divider.isVisible()));
    await page.getByRole('button', { name: 'Take back' }).click();
    await until(async () => (await value('brightness')) === 50);
    await close(page);
});

test('a change is taken back after the tab was in the background', async () => {
    await reset();
    const page = await open(browser, camera.url);
    await type(page, 'Brightness', 61);
    await until(async () => (await remembered('brightness')) === 61);
    await hideAndShow(page);
    await page.getByRole('button', { name: 'Undo' }).click();
    await until(async () => (await remembered('brightness')) === 50);
    await close(page);
});

test('what was refused while it was tried out takes no change from those that can be taken back', async () => {
    await reset();
    const page = await open(browser, camera.url);
    await type(page, 'Brightness', 61);
    await until(async () => (await remembered('brightness')) === 61);
    await page.getByRole('button', { name: 'Try changes out' }).click();
    const patch = '**/api/parameters*';
    await page.route(patch, (route) =>
        route.request().method() === 'PATCH'
            ? route.fulfill({
                  status: 409,
                  contentType: 'application/problem+json',
                  body: '{"code": "on-trial", "detail": "another has it"}',
              })
            : goOn(route),
    );
    await type(page, 'Contrast', 60);
    await shows(page, 'Contrast', 50); // read again, since it was refused
    await page.unroute(patch);
    await page.getByRole('button', { name: 'Take back' }).click();
    await page.getByRole('button', { name: 'Undo' }).click();
    await until(async () => (await remembered('brightness')) === 50);
    await close(page);
});

test('a change that the camera corrected is taken back', async () => {
    await reset();
    const page = await open(browser, camera.url);
    const patch = '**/api/parameters*';
    await page.route(patch, async (route) => {
        if (route.request().method() !== 'PATCH') {
            return goOn(route);
        }
        const response = await route.fetch({ postData: '{"brightness": 60}' });
        const json = await response.json();
        Object.assign(json.values[0], { asked: 61, outcome: 'corrected' });
        return route.fulfill({ response, json });
    });
    await type(page, 'Brightness', 61);
    await page.getByText('The camera corrected the value.').waitFor();
    await shows(page, 'Brightness', 60);
    await page.unroute(patch);
    await page.getByRole('button', { name: 'Undo' }).click();
    await until(async () => (await remembered('brightness')) === 50);
    await close(page);
});

test('changes that waited together are sent in the order in which they were made', async () => {
    await reset();
    const page = await open(browser, camera.url);
    const letGo = await keepBack(page, '**/api/parameters*', 'PATCH');
    await type(page, 'Saturation', 55);
    await type(page, 'Contrast', 56);
    await type(page, 'Brightness', 57);
    letGo();
    await until(async () => (await remembered('brightness')) === 57);
    const sent = page.requests.filter((request) => request.method() === 'PATCH');
    assert.strictEqual(sent.at(-1).postData(), '{"KEY_CONTRAST":56,"KEY_BRIGHTNESS":57}');
    await close(page);
});

test("somebody else's change behind the own one is shown, though the own one is answered later", async () => {
    await reset();
    const page = await open(browser, camera.url);
    let letGo = () => {};
    const gone = new Promise((resolve) => (letGo = resolve));
    await page.route('**/api/parameters*', async (route) => {
        const response = await route.fetch();
        if (route.request().method() === 'PATCH') {
            await gone;
        }
        await route.fulfill({ response });
    });
    await type(page, 'Brightness', 61);
    await until(async () => (await remembered('brightness')) === 61);
    await camera.ask('PATCH', '/api/parameters', { brightness: 80, contrast: 44 });
    await shows(page, 'Contrast', 44);
    letGo();
    await shows(page, 'Brightness', 80);
    await close(page);
});
