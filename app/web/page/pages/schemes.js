// Schemes: what holds now, the day, and two of them side by side.
import { Problem, ask, get } from '../api.js';
import { camera } from '../camera.js';
import { DayChart } from '../day-chart.js';
import { minutesOf } from '../day.js';
import { h, refill } from '../dom.js';
import { schemeName } from '../names.js';
import { SchemeCompare, copyValues } from '../scheme-compare.js';
import { t } from '../texts.js';
import { Page, action, askInDialog, card, notify, notifyProblem, segments } from '../ui.js';

/** @typedef {import('../day.js').DayWindow} DayWindow */
/** @typedef {import('../day.js').Schedule} Schedule */

class SchemesPage extends Page {
    /** @type {Schedule | null} */
    #schedule = null;
    /** What the camera has, scheme by scheme. @type {string[]} */
    #seen = [];
    #revision = '';
    /** Not put yet. @type {Map<number, DayWindow>} */
    #wanted = new Map();
    #isPutting = false;
    #inForce = h('div', { class: 'in-force' });
    #chart = new DayChart();
    #compare = new SchemeCompare();
    #asked = 0;

    show() {
        this.#chart.put = (row) => this.#put(row);
        this.#chart.reload = () => void this.#load();
        refill(
            this,
            card(t('scheme_current'), [this.#inForce]),
            card(t('day_chart'), [this.#chart, h('p', { class: 'quiet' }, t('chart_hint'))]),
            card(t('compare_schemes'), [this.#compare]),
        );
        this.on('schemes', () => void this.#load());
        this.on('status', () => this.#chart.placeNow());
        void this.#load();
    }

    async #load() {
        if (this.#chart.isInUse || this.#isPutting) {
            this.#chart.isStale = true;
            return;
        }
        const mine = ++this.#asked;
        try {
            const [{ body, revision }, why] = await Promise.all([ask('GET', '/api/schemes'), get('/api/explain')]);
            if (mine !== this.#asked) {
                return; // a later answer is on its way
            }
            if (this.#chart.isInUse) {
                this.#chart.isStale = true;
                return;
            }
            this.#schedule = body;
            this.#seen = body.schemes.map((/** @type {DayWindow} */ row) => JSON.stringify(row));
            this.#revision = revision;
            this.#showInForce(body, why);
            this.#chart.draw(body);
            await this.#compare.draw(body);
        } catch (error) {
            notifyProblem(error);
        }
    }

    // ---- what holds now --------------------------------------------------------------------------------------------

    /** @param {Schedule} schedule @param {any} why */
    #showInForce(schedule, why) {
        const isLocked = !camera.may('operator');
        const schemes = [...schedule.schemes.map((row) => row.scheme), schedule.defaultScheme];
        const choice = h(
            'select',
            {
                'aria-label': t('scheme'),
                value: String(schedule.scheme ?? ''),
                disabled: isLocked,
                'data-focus': 'scheme',
                onchange: (/** @type {Event} */ event) =>
                    void this.#choose(Number(/** @type {HTMLSelectElement} */ (event.target).value)),
            },
            schemes.map((scheme) => h('option', { value: String(scheme) }, schemeName(scheme))),
        );
        const next = why.next === undefined ? (schedule.byDayAndNight ? t('day_or_night') : '') : schemeName(why.next);
        const colour =
            schedule.scheme === undefined || schedule.scheme === schedule.defaultScheme ? 'default' : schedule.scheme;
        refill(
            this.#inForce,
            h('span', { class: `chip scheme-${colour}` }, schemeName(schedule.scheme)),
            h('p', {}, t(`why_${why.why}`), why.until ? ` ${t('until_then', why.until, next)}` : ''),
            segments(
                t('mode'),
                [
                    { value: 'auto', text: t('mode_scheduled'), disabled: isLocked },
                    { value: 'manual', text: t('mode_by_hand'), disabled: isLocked },
                ],
                schedule.mode,
                (mode) => void action(() => ask('PUT', '/api/mode', { mode }))(),
            ),
            choice,
        );
    }

    /** @param {number} scheme */
    async #choose(scheme) {
        await action(async () => {
            const { body } = await ask('PUT', '/api/scheme', { scheme });
            if (body.clockChoosesAgain) {
                notify(t('why_againstTheClock'));
            }
        })();
    }

    // ---- changes ---------------------------------------------------------------------------------------------------

    /** One at a time; of what is wanted meanwhile the last. @param {DayWindow} wanted */
    async #put(wanted) {
        this.#wanted.set(wanted.scheme, wanted);
        if (this.#isPutting) {
            return;
        }
        this.#isPutting = true;
        ++this.#asked; // no answer from before is drawn
        for (const [scheme, row] of this.#wanted) {
            this.#wanted.delete(scheme);
            await this.#putOne(row);
        }
        this.#isPutting = false;
        await this.#load();
    }

    /** @param {DayWindow} row */
    async #putOne(row) {
        const { scheme, enabled, from, to } = row;
        if (enabled && minutesOf(from) > minutesOf(to) && minutesOf(to) > 0 && (await this.#splitAtMidnight(row))) {
            return;
        }
        try {
            await this.#putUnlessChanged(scheme, { enabled, from, to });
        } catch (error) {
            this.#wanted.delete(scheme);
            if (error instanceof Problem && error.code === 'changed-meanwhile') {
                notify(t('changed_meanwhile'), true);
            } else if (error instanceof Problem && error.code === 'window-refused') {
                notify(error.body.check === 507 ? t('message_window_order') : t('message_window_late'), true);
            } else {
                notifyProblem(error);
            }
        }
    }

    /**
     * Not over what somebody else made of this window meanwhile; that something else happened is no reason.
     * @param {number} scheme
     * @param {{enabled: boolean, from: string, to: string}} window
     */
    async #putUnlessChanged(scheme, window) {
        for (let revision = this.#revision; ; ) {
            try {
                const put = await ask('PUT', `/api/schemes/${scheme}/window`, window, { revision });
                this.#seen[scheme] = JSON.stringify(put.body);
                this.#revision = put.revision;
                return;
            } catch (error) {
                if (!(error instanceof Problem) || error.code !== 'changed-meanwhile') {
                    throw error;
                }
                const now = await ask('GET', `/api/schemes/${scheme}/window`);
                if (JSON.stringify(now.body) !== this.#seen[scheme]) {
                    throw error;
                }
                revision = now.revision;
            }
        }
    }

    /** A window does not run over midnight; two schemes do. True when that was chosen, or nothing. @param {DayWindow} row */
    async #splitAtMidnight(row) {
        const schedule = /** @type {Schedule} */ (this.#schedule);
        const free = schedule.schemes.find((other) => !other.enabled && other.scheme !== row.scheme);
        if (!free) {
            return false; // the camera says why not
        }
        const answer = await askInDialog({
            title: t('over_midnight'),
            content: [
                h(
                    'p',
                    {},
                    t(
                        'over_midnight_offer',
                        schemeName(row.scheme),
                        `${row.from}–24:00`,
                        schemeName(free.scheme),
                        `00:00–${row.to}`,
                    ),
                ),
                h('p', { class: 'quiet' }, t('over_midnight_values', schemeName(row.scheme), schemeName(free.scheme))),
            ],
            answers: [
                { text: t('button_cancel'), value: '' },
                { text: t('two_schemes'), value: 'two', kind: 'primary' },
            ],
        });
        if (answer === 'two') {
            await action(async () => {
                await copyValues(row.scheme, free.scheme);
                await ask('PUT', `/api/schemes/${row.scheme}/window`, { enabled: true, from: row.from, to: '24:00' });
                await ask('PUT', `/api/schemes/${free.scheme}/window`, { enabled: true, from: '00:00', to: row.to });
            })();
        }
        return true;
    }
}
customElements.define('sc-schemes', SchemesPage);
