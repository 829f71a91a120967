// A whole day of the licence-plate camera, 16 minutes in a second, as somebody sees it who watches the page.
import assert from 'node:assert';
import test, { after, before } from 'node:test';
import { Camera, close, draw, launch, open, until, watchFrames } from './support.mjs';

const kBegin = 3; // o'clock
const kLate = 60; // minutes of the camera in which even a busy machine has changed over: 3.75 s

let camera, browser;
before(async () => {
    camera = await new Camera(['--model', 'lpr', '--at', '02:00', '--speed', '960']).start();
    browser = await launch();
});
after(async () => {
    await browser.close();
    await camera.remove();
});

/** Each of what follows one another, once. @param {any[]} list */
const changes = (list) => list.filter((each, i) => i === 0 || each !== list[i - 1]);
const mean = (list) => list.reduce((sum, each) => sum + each, 0) / list.length;

/** @param {string} text with a time of day */
function minutesIn(text) {
    const [, hour, minute] = /(\d\d):(\d\d)/.exec(text) ?? [];
    return Number(hour) * 60 + Number(minute);
}

/**
 * What the head of the page says from now on, and what is said of the lamps. A head is one answer of the camera: its
 * time, its light and its scheme belong together.
 */
async function watchHead(page) {
    await page.evaluate(() => {
        globalThis.heads_ = [];
        const facts = document.querySelector('.facts');
        const look = () =>
            globalThis.heads_.push({
                facts: [...facts.children].map((fact) => fact.textContent).join(' | '),
                lamps: /Infrared lamps\s*(\d+)/.exec(document.querySelector('main').textContent)?.[1],
            });
        new MutationObserver(look).observe(facts, { childList: true });
    });
    return async () => {
        const heads = (await page.evaluate(() => globalThis.heads_)).filter((head) => head.facts !== '');
        return heads.map(({ facts, lamps }) => ({
            minute: (minutesIn(facts) - kBegin * 60 + 1440) % 1440, // since the begin
            night: facts.includes('Night'),
            scheme: /\w+ scheme|Scheme \d/.exec(facts)?.[0],
            lamps: Number(lamps),
        }));
    };
}

test('day, dusk, night and dawn are seen, and schemes change at the minutes that were drawn', async () => {
    const page = await open(browser, `${camera.url}/#schemes`);
    const drawn = [
        { scheme: 2, from: 8, to: 12 },
        { scheme: 3, from: 20, to: 23 },
    ];
    for (const { scheme, from, to } of drawn) {
        await draw(page, scheme, from, to);
        await until(async () => {
            const window = await camera.ask('GET', `/api/schemes/${scheme}/window`);
            return window.enabled && minutesIn(window.from) === from * 60 && minutesIn(window.to) === to * 60;
        });
    }
    await page.getByRole('link', { name: 'World' }).click();
    await page.getByRole('button', { name: 'As by the sun' }).click();
    await page.locator('sc-picture.has-picture').waitFor();
    await page.getByRole('slider', { name: 'Clock' }).fill(String(kBegin * 60));
    await page.locator('.top').getByText('Night', { exact: true }).waitFor();
    await page.locator('sc-picture .overlay').getByText('Night', { exact: true }).waitFor(); // no frame of before
    const framesSeen = await watchFrames(page);
    const headsSeen = await watchHead(page);

    await until(
        async () => {
            const heads = await headsSeen();
            return heads.some((head, i) => i > 0 && head.minute < heads[i - 1].minute - 720);
        },
        'a day has passed',
        300,
    );
    const heads = await headsSeen();
    heads.splice(heads.findIndex((head, i) => i > 0 && head.minute < heads[i - 1].minute - 720));
    const frames = await framesSeen();
    const isIn = (from, to) => (frame) => frame.time >= from * 3600 && frame.time < to * 3600;
    const at = (from, to, fact) => mean(frames.filter(isIn(from, to)).map((frame) => frame[fact]));

    // Each of the two changes once: at dawn and at dusk.
    assert.deepStrictEqual(changes(frames.map((frame) => frame.night)), [true, false, true]);
    assert.deepStrictEqual(changes(heads.map((head) => head.night)), [true, false, true]);
    const day = frames.filter((frame) => !frame.night);
    assert.ok(isIn(5, 8)(day[0]), `day at ${day[0].time}`);
    assert.ok(isIn(16, 19)(day.at(-1)), `night behind ${day.at(-1).time}`);

    // By night grey, in the light of the lamps; in the dusk with more and more gain.
    assert.ok(at(9, 17, 'colour') > 5, `colours by day: ${at(9, 17, 'colour')}`);
    assert.ok(at(19, 24, 'colour') < 1, `colours by night: ${at(19, 24, 'colour')}`);
    assert.ok(at(19, 24, 'mean') > 5, `light by night: ${at(19, 24, 'mean')}`);
    const dusk = Math.max(...day.filter(isIn(17, 19)).map((frame) => frame.gain));
    assert.ok(dusk > at(12, 16, 'gain') + 3, `gain in the dusk: ${dusk}`);
    const lampsAt = (from, to) => {
        const between = (head) => head.minute >= (from - kBegin) * 60 && head.minute < (to - kBegin) * 60;
        return heads.filter(between).map((head) => head.lamps);
    };
    assert.deepStrictEqual(new Set(lampsAt(8, 17)), new Set([0]));
    assert.ok(Math.min(...lampsAt(20, 24)) > 0, `lamps: ${lampsAt(20, 24)}`);

    // Where nothing is drawn, scheme 0 is for the day and 1 for the night.
    assert.deepStrictEqual(changes(heads.map((head) => head.scheme)), [
        'Scheme 1',
        'Scheme 0',
        'Scheme 2',
        'Scheme 0',
        'Scheme 1',
        'Scheme 3',
        'Scheme 1',
    ]);
    for (const { scheme, from, to } of drawn) {
        // Time and scheme are read one after the other: a minute, which takes 62 ms, may begin in between.
        const [first, end] = [(from - kBegin) * 60, (to - kBegin) * 60];
        for (const head of heads) {
            const isShown = head.scheme === `Scheme ${scheme}`;
            const isRight = isShown
                ? head.minute >= first - 1 && head.minute < end + kLate
                : head.minute < first + kLate || head.minute >= end - 1;
            assert.ok(isRight, `scheme ${scheme} from ${from} to ${to}: ${JSON.stringify(head)}`);
        }
    }
    await close(page);
});
