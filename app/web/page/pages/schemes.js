// The day as a chart: a lane for each scheme, and below it what comes of them.
import { Problem, ask, get } from '../api.js';
import { camera } from '../camera.js';
import { nameOf, schemeName, timeText, valueText } from '../names.js';
import { h, icon, refill } from '../dom.js';
import { parametersIn } from '../style-document.js';
import { t } from '../texts.js';
import { Page, action, askInDialog, card, notify, notifyProblem, segments } from '../ui.js';

/**
 * @typedef {object} DayWindow
 * @property {number} scheme
 * @property {boolean} enabled
 * @property {string} from
 * @property {string} to
 * @property {boolean} neverHolds
 *
 * @typedef {object} Schedule
 * @property {string} time
 * @property {string} mode
 * @property {number} [scheme]
 * @property {number} defaultScheme
 * @property {boolean} byDayAndNight
 * @property {DayWindow[]} schemes
 * @property {{from: string, to: string, scheme?: number}[]} day
 */

const kDay = 24 * 60;
const kGrid = 5; // minutes, of what is drawn

/** Minutes of the day; NaN when it is no time. @param {string} text */
function minutesOf(text) {
    const parts = /^(\d{1,2}):(\d{2})$/.exec(text.trim());
    const minutes = parts ? Number(parts[1]) * 60 + Number(parts[2]) : NaN;
    return parts && Number(parts[2]) < 60 && minutes <= kDay ? minutes : NaN;
}

/** @param {DayWindow} window */
function isSound(window) {
    return minutesOf(window.from) < minutesOf(window.to);
}

/**
 * What of a window is hidden by schemes before it: pieces, and by whom.
 * @param {Schedule} schedule
 * @param {DayWindow} window
 */
function hidden(schedule, window) {
    const from = minutesOf(window.from);
    const to = minutesOf(window.to);
    const before = schedule.schemes.filter((other) => other.scheme < window.scheme && other.enabled && isSound(other));
    const pieces = before
        .map((other) => ({
            from: Math.max(from, minutesOf(other.from)),
            to: Math.min(to, minutesOf(other.to)),
            by: other.scheme,
        }))
        .filter((piece) => piece.from < piece.to)
        .sort((a, b) => a.from - b.from);
    let reached = from;
    for (const piece of pieces) {
        if (piece.from <= reached) {
            reached = Math.max(reached, piece.to);
        }
    }
    return { pieces, isAll: pieces.length > 0 && reached >= to, by: [...new Set(pieces.map((piece) => piece.by))] };
}

/** @param {HTMLElement} element @param {number} from @param {number} to */
function place(element, from, to) {
    element.style.left = `${(from / kDay) * 100}%`;
    element.style.width = `${((to - from) / kDay) * 100}%`;
}

class SchemesPage extends Page {
    /** @type {Schedule | null} */
    #schedule = null;
    #revision = '';
    #chart = h('div', { class: 'day-chart' });
    #now = h('div', { class: 'now', 'aria-hidden': 'true' });
    #inForce = h('div', { class: 'in-force' });
    #compare = h('div', { class: 'compare' });
    #a = '0';
    #b = '1';
    #isDragging = false;
    #isStale = false;
    #asked = 0;

    show() {
        refill(
            this,
            this.#inForce,
            card(t('day_chart'), [this.#chart, h('p', { class: 'quiet' }, t('chart_hint'))]),
            card(t('compare_schemes'), [this.#compare]),
        );
        this.on('schemes', () => void this.#load());
        this.on('status', () => this.#placeNow());
        void this.#load();
    }

    /** Something is drawn or typed, which must not go because the chart is made anew. */
    #isInUse() {
        const field = document.activeElement;
        return (
            this.#isDragging ||
            (field instanceof HTMLInputElement && field.value !== (field.dataset.was ?? field.value))
        );
    }

    async #load() {
        if (this.#isInUse()) {
            this.#isStale = true;
            return;
        }
        this.#isStale = false;
        const mine = ++this.#asked;
        try {
            const [{ body, revision }, why] = await Promise.all([ask('GET', '/api/schemes'), get('/api/explain')]);
            if (mine !== this.#asked) {
                return; // a later answer is on its way
            }
            if (this.#isInUse()) {
                this.#isStale = true;
                return;
            }
            this.#schedule = body;
            this.#revision = revision;
            this.#showInForce(why);
            this.#showChart();
            await this.#showCompare();
        } catch (error) {
            notifyProblem(error);
        }
    }

    get #isLocked() {
        return !camera.may('operator');
    }

    // ---- what holds now --------------------------------------------------------------------------------------------

    /** @param {any} why */
    #showInForce(why) {
        const schedule = /** @type {Schedule} */ (this.#schedule);
        const schemes = [...schedule.schemes.map((row) => row.scheme), schedule.defaultScheme];
        const choice = h(
            'select',
            {
                'aria-label': t('scheme'),
                value: String(schedule.scheme ?? ''),
                disabled: this.#isLocked || schedule.mode === 'auto',
                onchange: (/** @type {Event} */ event) =>
                    void this.#choose(Number(/** @type {HTMLSelectElement} */ (event.target).value)),
            },
            schemes.map((scheme) => h('option', { value: String(scheme) }, schemeName(scheme))),
        );
        const next = why.next === undefined ? (schedule.byDayAndNight ? t('day_or_night') : '') : schemeName(why.next);
        refill(
            this.#inForce,
            card(t('scheme_current'), [
                h(
                    'div',
                    { class: 'in-force-row' },
                    h(
                        'span',
                        {
                            class: `chip scheme-${schedule.scheme === schedule.defaultScheme ? 'default' : (schedule.scheme ?? 'default')}`,
                        },
                        schemeName(schedule.scheme),
                    ),
                    h('p', {}, t(`why_${why.why}`), why.until ? ` ${t('until_then', why.until, next)}` : ''),
                ),
                h(
                    'div',
                    { class: 'in-force-row' },
                    segments(
                        t('mode'),
                        [
                            { value: 'auto', text: t('mode_scheduled'), disabled: this.#isLocked },
                            { value: 'manual', text: t('mode_by_hand'), disabled: this.#isLocked },
                        ],
                        schedule.mode,
                        (mode) => void action(() => ask('PUT', '/api/mode', { mode }))(),
                    ),
                    choice,
                ),
            ]),
        );
    }

    /** @param {number} scheme */
    async #choose(scheme) {
        await action(() => ask('PUT', '/api/scheme', { scheme }))();
    }

    // ---- chart -----------------------------------------------------------------------------------------------------

    #showChart() {
        const schedule = /** @type {Schedule} */ (this.#schedule);
        const focused =
            document.activeElement instanceof HTMLElement ? document.activeElement.dataset.focus : undefined;
        const hours = [0, 3, 6, 9, 12, 15, 18, 21, 24];
        const axis = h(
            'div',
            { class: 'axis', 'aria-hidden': 'true' },
            hours.map((hour) => {
                const mark = h('span', { class: hour % 6 ? 'minor' : '' }, String(hour).padStart(2, '0'));
                mark.style.left = `${(hour / 24) * 100}%`;
                return mark;
            }),
        );
        refill(
            this.#chart,
            h('div', { class: 'lane-row axis-row' }, axis),
            schedule.schemes.map((row) => this.#lane(row)),
            this.#result(),
        );
        this.#placeNow();
        if (focused) {
            /** @type {HTMLElement | null} */ (this.#chart.querySelector(`[data-focus="${focused}"]`))?.focus();
        }
    }

    #placeNow() {
        const minutes = minutesOf(camera.status?.time ?? '');
        this.#now.style.left = `${(minutes / kDay) * 100}%`;
    }

    /** @param {DayWindow} row */
    #lane(row) {
        const schedule = /** @type {Schedule} */ (this.#schedule);
        const { scheme } = row;
        const lane = h('div', { class: `lane scheme-${scheme}` });
        const enabled = h('input', {
            type: 'checkbox',
            role: 'switch',
            checked: row.enabled,
            disabled: this.#isLocked,
            'aria-label': t('scheme_enable', scheme),
            'data-focus': `on-${scheme}`,
            onchange: () => void this.#put({ ...row, enabled: enabled.checked }),
        });
        const field = (/** @type {'from' | 'to'} */ end) => {
            const input = h('input', {
                class: 'clock-field',
                value: row[end],
                'data-was': row[end],
                onblur: () => this.#isStale && void this.#load(),
                disabled: this.#isLocked,
                inputmode: 'numeric',
                maxlength: 5,
                'aria-label': t(end === 'from' ? 'scheme_from' : 'scheme_to', scheme),
                'data-focus': `${end}-${scheme}`,
                onchange: () => {
                    const minutes = minutesOf(input.value);
                    input.dataset.was = input.value;
                    if (Number.isNaN(minutes)) {
                        notify(t('message_time'), true);
                        input.value = row[end];
                        input.dataset.was = row[end];
                    } else {
                        void this.#put({ ...row, enabled: true, [end]: timeText(minutes) });
                    }
                },
            });
            return input;
        };
        const marks = this.#marks(schedule, row);
        if (isSound(row)) {
            lane.append(this.#bar(row));
            if (row.enabled) {
                for (const piece of hidden(schedule, row).pieces) {
                    const shade = h('span', { class: 'shade' });
                    place(shade, piece.from, piece.to);
                    lane.append(shade);
                }
            }
        }
        if (!this.#isLocked) {
            this.#drawOn(lane, row);
        }
        return h(
            'div',
            { class: row.enabled ? 'lane-row' : 'lane-row off', 'data-scheme': scheme },
            h(
                'div',
                { class: 'lane-name' },
                h('span', { class: 'switch' }, enabled, h('span', { class: 'knob' })),
                h('span', {}, schemeName(scheme)),
                scheme === schedule.scheme ? h('span', { class: 'badge' }, t('now')) : null,
            ),
            lane,
            h('div', { class: 'lane-times' }, field('from'), h('span', { 'aria-hidden': 'true' }, '–'), field('to')),
            marks ? h('p', { class: 'lane-note' }, icon('warning'), marks) : null,
        );
    }

    /** Why a window does not hold as it is drawn. @param {Schedule} schedule @param {DayWindow} row */
    #marks(schedule, row) {
        if (row.neverHolds || !isSound(row)) {
            return `${t('scheme_never')} ${isSound(row) ? '' : t('message_window_order')}`;
        }
        const { isAll, by } = hidden(schedule, row);
        const names = by.map(schemeName).join(', ');
        return !row.enabled || by.length === 0
            ? ''
            : isAll
              ? t('window_hidden', names)
              : t('window_partly_hidden', names);
    }

    /** @param {DayWindow} row */
    #bar(row) {
        const bar = h('div', { class: 'bar' });
        place(bar, minutesOf(row.from), minutesOf(row.to));
        const handle = (/** @type {'from' | 'to'} */ end) =>
            h('span', {
                class: `handle ${end}`,
                role: 'slider',
                tabindex: this.#isLocked ? '-1' : '0',
                'data-end': end,
                'data-focus': `h${end}-${row.scheme}`,
                'aria-label': t(end === 'from' ? 'scheme_from' : 'scheme_to', row.scheme),
                'aria-valuemin': '0',
                'aria-valuemax': String(kDay),
                'aria-valuenow': String(minutesOf(row[end])),
                'aria-valuetext': row[end],
                'aria-disabled': String(this.#isLocked),
                onkeydown: (/** @type {KeyboardEvent} */ event) => this.#step(event, row, end),
            });
        bar.append(handle('from'), h('span', { class: 'bar-text' }, `${row.from}–${row.to}`), handle('to'));
        return bar;
    }

    /** @param {KeyboardEvent} event @param {DayWindow} row @param {'from' | 'to'} end */
    #step(event, row, end) {
        const by = { ArrowLeft: -1, ArrowDown: -1, ArrowRight: 1, ArrowUp: 1, PageDown: -60, PageUp: 60 }[event.key];
        if (!by || this.#isLocked) {
            return;
        }
        event.preventDefault();
        const minutes = minutesOf(row[end]) + by * (event.shiftKey ? 60 : Math.abs(by) === 1 ? kGrid : 1);
        const next = { ...row, [end]: timeText(Math.min(kDay, Math.max(0, minutes))) };
        if (isSound(next)) {
            void this.#put(next);
        }
    }

    /**
     * On an empty place a new window is drawn; a window is moved, and each of its ends.
     * @param {HTMLElement} lane
     * @param {DayWindow} row
     */
    #drawOn(lane, row) {
        const at = (/** @type {PointerEvent} */ event) => {
            const box = lane.getBoundingClientRect();
            const minutes = ((event.clientX - box.left) / box.width) * kDay;
            return Math.min(kDay, Math.max(0, Math.round(minutes / kGrid) * kGrid));
        };
        lane.addEventListener('pointerdown', (event) => {
            if (event.button !== 0) {
                return;
            }
            event.preventDefault();
            const target = /** @type {HTMLElement} */ (event.target);
            target.closest('.handle') instanceof HTMLElement &&
                /** @type {HTMLElement} */ (target.closest('.handle')).focus();
            const end = target.dataset.end;
            const isMove = !end && target.closest('.bar') !== null && row.enabled;
            const begin = at(event);
            const from = minutesOf(row.from);
            const to = minutesOf(row.to);
            let next = row;
            const ghost = lane.querySelector('.bar') ?? h('div', { class: 'bar' });
            const bar = /** @type {HTMLElement} */ (ghost);
            this.#isDragging = true;
            lane.setPointerCapture(event.pointerId);
            const move = (/** @type {PointerEvent} */ moved) => {
                const now = at(moved);
                if (now === begin && next === row) {
                    return;
                }
                let [a, b] = [Math.min(begin, now), Math.max(begin, now)];
                if (isMove) {
                    const by = Math.min(kDay - to, Math.max(-from, now - begin));
                    [a, b] = [from + by, to + by];
                } else if (end === 'from') {
                    [a, b] = [Math.min(now, to - kGrid), to];
                } else if (end === 'to') {
                    [a, b] = [from, Math.max(now, from + kGrid)];
                }
                if (b - a < kGrid) {
                    return;
                }
                next = { ...row, enabled: true, from: timeText(a), to: timeText(b) };
                if (!bar.isConnected) {
                    lane.append(bar);
                }
                bar.classList.add('drawn');
                place(bar, a, b);
                const text = bar.querySelector('.bar-text');
                if (text) {
                    text.textContent = `${next.from}–${next.to}`;
                } else {
                    refill(bar, h('span', { class: 'bar-text' }, `${next.from}–${next.to}`));
                }
            };
            const finish = () => {
                lane.removeEventListener('pointermove', move);
                lane.removeEventListener('pointerup', finish);
                lane.removeEventListener('pointercancel', finish);
                this.#isDragging = false;
                if (next !== row) {
                    void this.#put(next);
                } else if (this.#isStale) {
                    void this.#load();
                }
                this.#isStale = false;
            };
            lane.addEventListener('pointermove', move);
            lane.addEventListener('pointerup', finish);
            lane.addEventListener('pointercancel', finish);
        });
    }

    #result() {
        const schedule = /** @type {Schedule} */ (this.#schedule);
        const lane = h('div', {
            class: 'lane result',
            role: 'img',
            'aria-label': schedule.day
                .map(
                    (piece) =>
                        `${piece.from}–${piece.to} ${piece.scheme === undefined ? t('day_or_night') : schemeName(piece.scheme)}`,
                )
                .join(', '),
        });
        for (const piece of schedule.day) {
            const kind =
                piece.scheme === undefined || piece.scheme === schedule.defaultScheme ? 'default' : piece.scheme;
            const text =
                piece.scheme === undefined
                    ? t('day_or_night')
                    : piece.scheme === schedule.defaultScheme
                      ? t('default_short')
                      : String(piece.scheme);
            const bar = h(
                'div',
                { class: `bar scheme-${kind}`, title: `${piece.from}–${piece.to}` },
                h('span', { class: 'bar-text' }, text),
            );
            place(bar, minutesOf(piece.from), minutesOf(piece.to));
            lane.append(bar);
        }
        lane.append(this.#now);
        return h(
            'div',
            { class: 'lane-row result-row' },
            h('div', { class: 'lane-name' }, h('span', {}, t('by_clock'))),
            lane,
        );
    }

    // ---- changes ---------------------------------------------------------------------------------------------------

    /** @param {DayWindow} row */
    async #put(row) {
        const { scheme, enabled, from, to } = row;
        if (enabled && minutesOf(from) > minutesOf(to) && minutesOf(to) > 0 && (await this.#splitAtMidnight(row))) {
            return;
        }
        try {
            await this.#putUnlessChanged(scheme, { enabled, from, to });
        } catch (error) {
            if (error instanceof Problem && error.code === 'changed-meanwhile') {
                notify(t('changed_meanwhile'), true);
            } else if (error instanceof Problem && error.code === 'window-refused') {
                notify(error.body.check === 507 ? t('message_window_order') : t('message_window_late'), true);
            } else {
                notifyProblem(error);
            }
        }
        await this.#load();
    }

    /**
     * Not over what somebody else made of this window meanwhile; that something else happened is no reason.
     * @param {number} scheme
     * @param {{enabled: boolean, from: string, to: string}} window
     */
    async #putUnlessChanged(scheme, window) {
        const seen = JSON.stringify(this.#schedule?.schemes[scheme]);
        for (let revision = this.#revision; ; ) {
            try {
                await ask('PUT', `/api/schemes/${scheme}/window`, window, { revision });
                return;
            } catch (error) {
                if (!(error instanceof Problem) || error.code !== 'changed-meanwhile') {
                    throw error;
                }
                const now = await ask('GET', `/api/schemes/${scheme}/window`);
                if (JSON.stringify(now.body) !== seen) {
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
                await this.#copy(row.scheme, free.scheme);
                await ask('PUT', `/api/schemes/${row.scheme}/window`, { enabled: true, from: row.from, to: '24:00' });
                await ask('PUT', `/api/schemes/${free.scheme}/window`, { enabled: true, from: '00:00', to: row.to });
            })();
        }
        await this.#load();
        return true;
    }

    /** Of what a scheme keeps, without its window and without what only acts. @param {number | string} scheme @returns {Promise<Map<number, number>>} */
    async #valuesOf(scheme) {
        const { values } = await get(`/api/schemes/${scheme}`);
        const rows = values.filter((/** @type {any} */ value) => {
            const row = camera.rows.get(value.key);
            return row && !row.onlyStored && row.allowed && row.allowed.kind !== 'action';
        });
        return new Map(rows.map((/** @type {any} */ value) => [value.key, value.value]));
    }

    /** @param {number | string} from @param {number | string} to */
    async #copy(from, to) {
        const [source, target] = await Promise.all([this.#valuesOf(from), this.#valuesOf(to)]);
        const other = [...source].filter(([key, value]) => target.has(key) && target.get(key) !== value);
        if (other.length > 0) {
            await ask('PUT', `/api/schemes/${to}`, Object.fromEntries(other));
        }
        return other.length;
    }

    // ---- two schemes side by side ----------------------------------------------------------------------------------

    async #showCompare() {
        const schedule = /** @type {Schedule} */ (this.#schedule);
        const schemes = [...schedule.schemes.map((row) => row.scheme), schedule.defaultScheme];
        const select = (
            /** @type {string} */ chosen,
            /** @type {string} */ label,
            /** @type {(value: string) => void} */ choose,
        ) => {
            const element = h(
                'select',
                {
                    value: chosen,
                    'aria-label': label,
                    onchange: () => {
                        choose(element.value);
                        void this.#showCompare();
                    },
                },
                schemes.map((scheme) => h('option', { value: String(scheme) }, schemeName(scheme))),
            );
            return element;
        };
        const [a, b] = await Promise.all([this.#valuesOf(this.#a), this.#valuesOf(this.#b)]);
        const rows = parametersIn(camera.tabs).filter(({ control }) => a.get(control.key) !== b.get(control.key));
        const canCopy = !this.#isLocked && rows.length > 0 && Number(this.#b) !== schedule.defaultScheme;
        refill(
            this.#compare,
            h(
                'div',
                { class: 'compare-head' },
                select(this.#a, t('first_scheme'), (value) => {
                    this.#a = value;
                }),
                h(
                    'button',
                    {
                        type: 'button',
                        disabled: !canCopy,
                        onclick: action(async () => {
                            notify(t('values_copied', await this.#copy(this.#a, this.#b), schemeName(Number(this.#b))));
                            await this.#load();
                        }),
                    },
                    icon('copy'),
                    h('span', {}, t('copy_values')),
                ),
                select(this.#b, t('second_scheme'), (value) => {
                    this.#b = value;
                }),
            ),
            rows.length === 0
                ? h('p', { class: 'empty' }, t('no_difference'))
                : h(
                      'div',
                      {
                          class: 'scroll',
                          tabindex: '0',
                          role: 'region',
                          'aria-label': `${schemeName(Number(this.#a))} – ${schemeName(Number(this.#b))}`,
                      },
                      h(
                          'table',
                          {},
                          h('caption', { class: 'unseen' }, t('compare_schemes')),
                          h(
                              'thead',
                              {},
                              h(
                                  'tr',
                                  {},
                                  h('th', { scope: 'col' }, t('parameter')),
                                  h('th', { scope: 'col' }, schemeName(Number(this.#a))),
                                  h('th', { scope: 'col' }, schemeName(Number(this.#b))),
                              ),
                          ),
                          h(
                              'tbody',
                              {},
                              rows.map(({ control, parent }) =>
                                  h(
                                      'tr',
                                      {},
                                      h(
                                          'th',
                                          { scope: 'row' },
                                          parent ? `${nameOf(parent)}: ${t(control.kind)}` : nameOf(control),
                                      ),
                                      h('td', {}, valueText(control, a.get(control.key) ?? 0)),
                                      h('td', {}, valueText(control, b.get(control.key) ?? 0)),
                                  ),
                              ),
                          ),
                      ),
                  ),
        );
    }
}
customElements.define('sc-schemes', SchemesPage);
