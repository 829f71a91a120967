// Elements as expressions, and the small set of icons.

/** @typedef {Node | string | number | false | null | undefined} Child */

/**
 * @param {Element} element
 * @param {Record<string, any>} attributes
 */
function dress(element, attributes) {
    for (const [name, value] of Object.entries(attributes)) {
        if (name.startsWith('on')) {
            element.addEventListener(name.slice(2), value);
        } else if (name === 'dataset') {
            Object.assign(/** @type {HTMLElement} */ (element).dataset, value);
        } else if (['value', 'checked', 'disabled', 'hidden', 'selected', 'open', 'readOnly'].includes(name)) {
            /** @type {any} */ (element)[name] = value;
        } else if (value !== false && value !== null && value !== undefined) {
            element.setAttribute(name, value === true ? '' : String(value));
        }
    }
}

/**
 * @template {keyof HTMLElementTagNameMap} T
 * @param {T} tag
 * @param {Record<string, any>} [attributes] "onclick" a listener; value, checked … properties
 * @param {...(Child | Child[])} children
 * @returns {HTMLElementTagNameMap[T]}
 */
export function h(tag, attributes = {}, ...children) {
    const element = document.createElement(tag);
    const { value, ...others } = attributes;
    dress(element, others);
    fill(element, ...children);
    if (value !== undefined) {
        dress(element, { value }); // a list has its value only once its choices are there
    }
    return element;
}

/**
 * @param {string} tag
 * @param {Record<string, any>} [attributes]
 * @param {...(Child | Child[])} children
 * @returns {SVGElement}
 */
export function s(tag, attributes = {}, ...children) {
    const element = document.createElementNS('http://www.w3.org/2000/svg', tag);
    dress(element, attributes);
    fill(element, ...children);
    return element;
}

/**
 * Adds children, but for those that are not there.
 * @param {Element} element
 * @param {...(Child | Child[])} children
 */
export function fill(element, ...children) {
    for (const child of children.flat()) {
        if (child !== false && child !== null && child !== undefined) {
            element.append(child instanceof Node ? child : String(child));
        }
    }
}

/**
 * What had the focus keeps it, if it comes again with the same data-focus; and what was selected in it stays selected,
 * or what is typed next would not take its place.
 * @param {Element} element
 * @param {...(Child | Child[])} children
 */
export function refill(element, ...children) {
    const used = document.activeElement;
    const name = used instanceof HTMLElement && element.contains(used) ? used.dataset.focus : undefined;
    const { selectionStart = null, selectionEnd = null } = used instanceof HTMLInputElement ? used : {};
    element.replaceChildren();
    fill(element, ...children);
    if (name !== undefined) {
        const same = /** @type {HTMLElement | null} */ (element.querySelector(`[data-focus="${name}"]`));
        same?.focus();
        if (same instanceof HTMLInputElement && selectionStart !== null) {
            same.setSelectionRange(selectionStart, selectionEnd);
        }
    }
}

// Strokes on a square of 24.
const kIcons = {
    live: 'M3 7.5A1.5 1.5 0 0 1 4.5 6h9A1.5 1.5 0 0 1 15 7.5v9a1.5 1.5 0 0 1-1.5 1.5h-9A1.5 1.5 0 0 1 3 16.5zM15 10.5l6-3v9l-6-3',
    parameters: 'M4 6h9M17 6h3M4 12h3M11 12h9M4 18h9M17 18h3M15 4v4M9 10v4M15 16v4',
    schemes: 'M12 3a9 9 0 1 0 0 18 9 9 0 0 0 0-18zM12 7v5l3 2',
    lens: 'M12 3a9 9 0 1 0 0 18 9 9 0 0 0 0-18zM12 8a4 4 0 1 0 0 8 4 4 0 0 0 0-8z',
    world: 'M12 8a4 4 0 1 0 0 8 4 4 0 0 0 0-8zM12 2v2M12 20v2M2 12h2M20 12h2M5 5l1.4 1.4M17.6 17.6L19 19M5 19l1.4-1.4M17.6 6.4L19 5',
    diagnostics: 'M3 12h4l3-8 4 16 3-8h4',
    moon: 'M20 14.5A8.5 8.5 0 1 1 9.5 4a7 7 0 0 0 10.5 10.5z',
    more: 'M12 5.5v.01M12 12v.01M12 18.5v.01',
    undo: 'M8 5L4 9l4 4M4 9h10a6 6 0 0 1 0 12h-3',
    redo: 'M16 5l4 4-4 4M20 9H10a6 6 0 0 0 0 12h3',
    save: 'M5 12.5l4.5 4.5L19 7.5',
    search: 'M10.5 4a6.5 6.5 0 1 0 0 13 6.5 6.5 0 0 0 0-13zM15.5 15.5L21 21',
    plus: 'M12 5v14M5 12h14',
    minus: 'M5 12h14',
    full: 'M4 9V4h5M15 4h5v5M20 15v5h-5M9 20H4v-5',
    fit: 'M9 4v5H4M20 9h-5V4M15 20v-5h5M4 15h5v5',
    pause: 'M9 5v14M15 5v14',
    play: 'M7 5l12 7-12 7z',
    photo: 'M4 8h3.5L9 5.5h6L16.5 8H20v11H4zM12 10a3.5 3.5 0 1 0 0 7 3.5 3.5 0 0 0 0-7z',
    compare: 'M12 3v18M4 6h5v12H4M15 6h5v12h-5',
    close: 'M6 6l12 12M18 6L6 18',
    left: 'M15 5l-7 7 7 7',
    right: 'M9 5l7 7-7 7',
    up: 'M5 15l7-7 7 7',
    down: 'M5 9l7 7 7-7',
    warning: 'M12 4L2.5 20h19zM12 10v4.5M12 17.2v.01',
    info: 'M12 3a9 9 0 1 0 0 18 9 9 0 0 0 0-18zM12 11v5.5M12 7.8v.01',
    user: 'M12 4a4 4 0 1 0 0 8 4 4 0 0 0 0-8zM4 20.5c1-4 4-5.5 8-5.5s7 1.5 8 5.5',
    download: 'M12 4v11M7 11l5 5 5-5M5 20h14',
    upload: 'M12 16V5M7 9l5-5 5 5M5 20h14',
    copy: 'M9 9h11v11H9zM15 9V4H4v11h5',
    offline:
        'M3 3l18 18M8.5 8.5A7 7 0 0 0 5 12M12 18.5v.01M15.5 15A5 5 0 0 0 9 14.5M19 12a10 10 0 0 0-7.5-3.8M1.8 8.8A14 14 0 0 1 6 6.2M22.2 8.8A14 14 0 0 0 10 5.2',
};

/** @typedef {keyof typeof kIcons} IconName */

/** @param {IconName} name */
export function icon(name) {
    return s('svg', { class: 'icon', viewBox: '0 0 24 24', 'aria-hidden': 'true' }, s('path', { d: kIcons[name] }));
}

/**
 * A button of an icon alone: its label is for the pointer that rests on it and for screen readers.
 * @param {IconName} name
 * @param {string} label
 * @param {(event: MouseEvent) => void} onclick
 * @param {Record<string, any>} [attributes]
 */
export function iconButton(name, label, onclick, attributes = {}) {
    return h(
        'button',
        { type: 'button', class: 'icon-button', 'aria-label': label, title: label, onclick, ...attributes },
        icon(name),
    );
}

let lastId = 0;

/** An id for a label to point at. */
export function newId() {
    return `e${++lastId}`;
}
