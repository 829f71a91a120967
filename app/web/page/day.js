// Windows of the day, as the schemes have them.

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

export const kDay = 24 * 60; // minutes

/** Minutes of the day; NaN when it is no time. @param {string} text */
export function minutesOf(text) {
    const parts = /^(\d{1,2}):(\d{2})$/.exec(text.trim());
    const minutes = parts ? Number(parts[1]) * 60 + Number(parts[2]) : NaN;
    return parts && Number(parts[2]) < 60 && minutes <= kDay ? minutes : NaN;
}

/** @param {DayWindow} window */
export function isSound(window) {
    return minutesOf(window.from) < minutesOf(window.to);
}

/**
 * What of a window is hidden by schemes before it: pieces, and by whom.
 * @param {Schedule} schedule
 * @param {DayWindow} window
 */
export function hidden(schedule, window) {
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
export function place(element, from, to) {
    element.style.left = `${(from / kDay) * 100}%`;
    element.style.width = `${((to - from) / kDay) * 100}%`;
}
