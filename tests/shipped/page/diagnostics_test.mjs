// Diagnostics: values as text and whole documents do what they say, and nothing else.
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
const apply = async (page, text) => {
    await page.getByRole('textbox', { name: 'Values as text' }).fill(text);
    await page.getByRole('button', { name: 'Apply' }).click();
};

test('values as text are applied in the order in which they are written', async () => {
    const page = await open(browser, `${camera.url}/#diagnostics`);
    await apply(page, '(2353,41) (34,61)');
    await page.getByText('2 values applied.').waitFor();
    const sent = page.requests.find((request) => request.method() === 'PATCH').postData();
    assert.strictEqual(sent, '{"2353": 41, "34": 61}');
    assert.strictEqual(await value('brightness'), 61);
    await close(page);
});

test('of a text that is not pairs alone nothing is applied', async () => {
    await camera.ask('PATCH', '/api/parameters', { brightness: 50 });
    const page = await open(browser, `${camera.url}/#diagnostics`);
    await apply(page, '(34,60)(x,5)');
    await page.getByText('These are not pairs such as').waitFor();
    await apply(page, '(34,62)(34,63)');
    await page.locator('.notice.bad', { hasNotText: 'These are not pairs such as' }).waitFor();
    assert.strictEqual(await value('brightness'), 50);
    await close(page);
});

test('before an import the page lists windows, the mode, and schemes that there are not', async () => {
    const page = await open(browser, `${camera.url}/#diagnostics`);
    const schemes = [
        { scheme: 1, window: { enabled: true, from: '02:00', to: '08:00' } },
        { scheme: 2, window: { enabled: true, from: '12:00', to: '08:00' }, values: { KEY_BRIGHTNESS: 55 } },
        { scheme: 9 },
    ];
    const document = { format: 'sensorcam-schemes', version: 1, model: 'fixed', mode: 'manual', schemes };
    await page
        .getByLabel('Import', { exact: true })
        .and(page.locator('input'))
        .setInputFiles({
            name: 'plan.json',
            mimeType: 'application/json',
            buffer: Buffer.from(JSON.stringify(document)),
        });
    const rows = page.locator('.plan tbody tr');
    await rows.first().waitFor();
    const cells = await rows.evaluateAll((all) => all.map((row) => [...row.cells].map((cell) => cell.textContent)));
    assert.deepStrictEqual(cells, [
        ['', 'Scheme selection', '', 'By hand', 'applied'],
        ['Scheme 1', 'Daily window', '', '02:00–08:00', 'applied'],
        [
            'Scheme 2',
            'Daily window',
            '',
            '12:00–08:00',
            'The window must start before it ends; it cannot run past midnight.',
        ],
        ['Scheme 9', '', '', '', 'no such scheme'],
        ['Scheme 2', 'KEY_BRIGHTNESS', '50', '55', 'applied'],
    ]);
    await page.getByText('1 values would change, 0 do not fit').waitFor();
    await close(page);
});

test('a refusal is told in the language of the page', async () => {
    const page = await open(browser, `${camera.url}/#diagnostics`, { locale: 'de' });
    await page.getByRole('textbox', { name: 'Werte als Text' }).fill('(34,300)');
    await page.getByRole('button', { name: 'Anwenden' }).click();
    await page.getByText('Helligkeit muss zwischen 0 und 100 liegen.').waitFor();
    await close(page);
});

test('what happened is told in the language of the page', async () => {
    const page = await open(browser, `${camera.url}/#diagnostics`, { locale: 'de' });
    await page.locator('.events li').first().waitFor();
    await until(async () => {
        await camera.ask('PUT', '/api/mode', { mode: 'manual' });
        await camera.ask('PUT', '/api/mode', { mode: 'auto' });
        return (await page.locator('.events').getByText('Nach Zeitplan').count()) > 0;
    });
    await close(page);
});
