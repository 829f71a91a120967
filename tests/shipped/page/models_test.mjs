// Every model's documents, in both languages: no text is missing, nothing keeps anybody from using the page.
import assert from 'node:assert';
import test, { after, before } from 'node:test';
import { Camera, close, launch, missingTexts, open, until, violations } from './support.mjs';

const kPages = ['live', 'parameters', 'schemes', 'lens', 'world', 'diagnostics'];

let browser;
before(async () => {
    browser = await launch();
});
after(() => browser.close());

for (const model of ['fixed', 'dome', 'lpr', 'fisheye']) {
    test(`${model}: every page, light and dark, in every language`, async () => {
        const camera = await new Camera(['--model', model, '--at', '14:00']).start();
        for (const [locale, colorScheme, width] of [
            ['en', 'light', 1280],
            ['de', 'dark', 390],
        ]) {
            const page = await open(browser, camera.url, {
                locale,
                colorScheme,
                viewport: { width, height: 900 },
                bypassCSP: true,
            });
            for (const name of kPages) {
                await page.goto(`${camera.url}/#${name}`);
                await page.locator(`sc-${name} > *`).first().waitFor();
                await page.waitForLoadState('load');
                await page.locator('.top .fact').first().waitFor();
                const pictures = await page.locator('sc-picture').count();
                await until(async () => (await page.locator('sc-picture.has-picture').count()) === pictures);
                assert.deepStrictEqual(await missingTexts(page), [], `${name} ${locale}`);
                assert.deepStrictEqual(await violations(page), [], `${name} ${locale}`);
                const isWider = await page.evaluate(() => document.documentElement.scrollWidth > innerWidth);
                assert.ok(!isWider, `${name} is wider than its window of ${width}`);
            }
            await close(page);
        }
        const style = await (await fetch(`${camera.url}/api/style`)).text();
        const page = await open(browser, `${camera.url}/#parameters`);
        const tabs = page.getByRole('tab');
        await tabs.first().waitFor();
        assert.strictEqual(await tabs.count(), style.match(/<tab /g).length);
        for (const tab of await tabs.all()) {
            await tab.click();
            await page.locator('.tab-content > *').first().waitFor();
            assert.deepStrictEqual(await missingTexts(page), []);
        }
        await close(page);
        await camera.remove();
    });
}
