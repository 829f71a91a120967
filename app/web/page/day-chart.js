// The day as a chart: a lane for each scheme, and below it what comes of them.
import { camera } from './camera.js';
import { hidden, isSound, kDay, minutesOf, place } from './day.js';
import { h, icon, refill } from './dom.js';
import { schemeName, timeText } from './names.js';
import { t } from './texts.js';
import { notify } from './ui.js';

/** @typedef {import('./day.js').DayWindow} DayWindow */
/** @typedef {import('./day.js').Schedule} Schedule */

const kGrid = 5; // minutes, of what is drawn

export class DayChart extends HTMLElement {
    /** Asks the camera for a window. @type {(row: DayWindow) => Promise<void>} */
    put = async () => {};
    reload = () => {};
    /** The camera has a newer day than the chart. */
    isStale = false;
    /** @type {Schedule | null} */
    #schedule = null;
    #now = h('div', { class: 'now', 'aria-hidden': 'true' });
    #clock = h('span', { class: 'clock-now', 'aria-hidden': 'true' });
    #isDragging = false;

    get #isLocked() {
        return !camera.may('operator');
    }

    /** Something is drawn or typed, which must not go because the chart is made anew. */
    get isInUse() {
        const fields = /** @type {NodeListOf<HTMLInputElement>} */ (this.querySelectorAll('.clock-field'));
        return this.#isDragging || [...fields].some((field) => field.value !== field.dataset.was);
    }

    /** @param {Schedule} schedule */
    draw(schedule) {
        this.#schedule = schedule;
        this.isStale = false;
        const hours = [0, 3, 6, 9, 12, 15, 18, 21, 24];
        const axis = h(
            'div',
            { class: 'axis', 'aria-hidden': 'true' },
            this.#clock,
            hours.map((hour) => {
                const mark = h('span', { class: hour % 6 ? 'minor' : '' }, String(hour).padStart(2, '0'));
                mark.style.left = `${(hour / 24) * 100}%`;
                return mark;
            }),
        );
        refill(
            this,
            h('div', { class: 'lane-row axis-row' }, axis),
            schedule.schemes.map((row) => this.#lane(row)),
            this.#result(),
        );
        this.placeNow();
    }

    /** As it is wanted, which the camera may not have yet. @param {number} scheme */
    #wanted(scheme) {
        return /** @type {Schedule} */ (this.#schedule).schemes[scheme];
    }

    /** @param {DayWindow} row */
    #want(row) {
        /** @type {Schedule} */ (this.#schedule).schemes[row.scheme] = row;
        void this.put(row);
    }

    placeNow() {
        const minutes = minutesOf(camera.status?.time ?? '');
        const left = `${(minutes / kDay) * 100}%`;
        this.#now.style.left = left;
        this.#clock.style.left = left;
        this.#clock.textContent = camera.status?.time ?? '';
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
            onchange: () => this.#want({ ...this.#wanted(scheme), enabled: enabled.checked }),
        });
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
            this.#drawOn(lane, scheme);
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
            this.#times(row),
            marks ? h('p', { class: 'lane-note' }, icon('warning'), marks) : null,
        );
    }

    /** Its exact times, which are put together: when the focus leaves them, or with Enter. @param {DayWindow} row */
    #times({ scheme, from, to }) {
        const field = (/** @type {'from' | 'to'} */ end, /** @type {string} */ time) =>
            h('input', {
                class: 'clock-field',
                value: time,
                'data-was': time,
                disabled: this.#isLocked,
                inputmode: 'numeric',
                maxlength: 5,
                'aria-label': t(end === 'from' ? 'scheme_from' : 'scheme_to', scheme),
                'data-focus': `${end}-${scheme}`,
            });
        const fields = [field('from', from), field('to', to)];
        const put = () => {
            const minutes = fields.map((input) => minutesOf(input.value));
            if (fields.every((input) => input.value === input.dataset.was)) {
                this.isStale && this.reload();
            } else if (minutes.some(Number.isNaN)) {
                notify(t('message_time'), true);
                fields.forEach((input) => (input.value = input.dataset.was ?? ''));
            } else {
                fields.forEach((input) => (input.dataset.was = input.value));
                const [first, last] = minutes.map(timeText);
                this.#want({ ...this.#wanted(scheme), enabled: true, from: first, to: last });
            }
        };
        return h(
            'div',
            {
                class: 'lane-times',
                onkeydown: (/** @type {KeyboardEvent} */ event) => {
                    if (event.key === 'Enter') {
                        event.preventDefault(); // it must not press a button of the dialog that may open now
                        put();
                    }
                },
                onfocusout: (/** @type {FocusEvent} */ { currentTarget, relatedTarget }) =>
                    /** @type {Node} */ (currentTarget).contains(/** @type {Node | null} */ (relatedTarget)) || put(),
            },
            fields[0],
            h('span', { 'aria-hidden': 'true' }, '–'),
            fields[1],
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
                'aria-disabled': String(this.#isLocked),
                onkeydown: (/** @type {KeyboardEvent} */ event) => this.#step(event, bar, row.scheme, end),
            });
        const bar = h('div', { class: 'bar' }, handle('from'), h('span', { class: 'bar-text' }), handle('to'));
        this.#fit(bar, row);
        return bar;
    }

    /** @param {HTMLElement} bar @param {DayWindow} row */
    #fit(bar, row) {
        place(bar, minutesOf(row.from), minutesOf(row.to));
        /** @type {HTMLElement} */ (bar.querySelector('.bar-text')).textContent = `${row.from}–${row.to}`;
        for (const handle of bar.querySelectorAll('.handle')) {
            const time = handle.classList.contains('from') ? row.from : row.to;
            handle.setAttribute('aria-valuenow', String(minutesOf(time)));
            handle.setAttribute('aria-valuetext', time);
        }
    }

    /** @param {KeyboardEvent} event @param {HTMLElement} bar @param {number} scheme @param {'from' | 'to'} end */
    #step(event, bar, scheme, end) {
        const by = { ArrowLeft: -1, ArrowDown: -1, ArrowRight: 1, ArrowUp: 1, PageDown: -60, PageUp: 60 }[event.key];
        if (!by || this.#isLocked) {
            return;
        }
        event.preventDefault();
        const row = this.#wanted(scheme);
        const minutes = minutesOf(row[end]) + by * (event.shiftKey ? 60 : Math.abs(by) === 1 ? kGrid : 1);
        const next = { ...row, [end]: timeText(Math.min(kDay, Math.max(0, minutes))) };
        if (isSound(next)) {
            this.#fit(bar, next);
            this.#want(next);
        }
    }

    /**
     * On an empty place a new window is drawn; a window is moved, and each of its ends.
     * @param {HTMLElement} lane
     * @param {number} scheme
     */
    #drawOn(lane, scheme) {
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
            const row = this.#wanted(scheme);
            const target = /** @type {HTMLElement} */ (event.target);
            target.closest('.handle') instanceof HTMLElement &&
                /** @type {HTMLElement} */ (target.closest('.handle')).focus();
            const end = target.dataset.end;
            const isMove = !end && target.closest('.bar') !== null && row.enabled;
            const begin = at(event);
            const from = minutesOf(row.from);
            const to = minutesOf(row.to);
            let next = row;
            const ghost = lane.querySelector('.bar') ?? h('div', { class: 'bar' }, h('span', { class: 'bar-text' }));
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
                this.#fit(bar, next);
            };
            const finish = (/** @type {PointerEvent} */ { type }) => {
                lane.removeEventListener('pointermove', move);
                lane.removeEventListener('pointerup', finish);
                lane.removeEventListener('pointercancel', finish);
                this.#isDragging = false;
                if (type === 'pointerup' && next !== row) {
                    this.#want(next);
                } else if (this.isStale) {
                    this.reload();
                } else if (next !== row) {
                    this.draw(/** @type {Schedule} */ (this.#schedule)); // the browser scrolls instead
                }
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
}
customElements.define('sc-day-chart', DayChart);
