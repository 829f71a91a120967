// What all pages share: notices, dialogs, menus.
import { Problem } from './api.js';
import { camera } from './camera.js';
import { h, icon, iconButton, newId, refill } from './dom.js';
import { problemText } from './names.js';
import { t } from './texts.js';

const kNoticeTime = 6000;

const notices = h('div', { class: 'notices', role: 'status', 'aria-live': 'polite' });

export function noticeArea() {
    return notices;
}

/**
 * A line at the edge of the page, for a while.
 * @param {string} text
 * @param {boolean} [bad]
 */
export function notify(text, bad = false) {
    const notice = h(
        'div',
        { class: bad ? 'notice bad' : 'notice' },
        icon(bad ? 'warning' : 'info'),
        h('span', {}, text),
    );
    notice.append(iconButton('close', t('button_close'), () => notice.remove()));
    for (const same of [...notices.children].filter((other) => other.textContent === notice.textContent)) {
        same.remove();
    }
    notices.append(notice);
    while (notices.children.length > 3) {
        notices.firstElementChild?.remove();
    }
    setTimeout(() => notice.remove(), kNoticeTime);
}

/** @param {unknown} error */
export function notifyProblem(error) {
    camera.noticeFailure(error);
    if (error instanceof Problem && error.status !== 0 && error.code !== 'no-session') {
        notify(problemText(error), true);
    } else if (!(error instanceof Problem)) {
        throw error;
    }
}

/**
 * A listener whose failure is told.
 * @param {() => Promise<unknown> | unknown} work
 */
export function action(work) {
    return async () => {
        try {
            await work();
        } catch (error) {
            notifyProblem(error);
        }
    };
}

/**
 * @typedef {object} Question
 * @property {string} title
 * @property {import('./dom.js').Child[]} content
 * @property {{text: string, value: string, kind?: string}[]} answers the last is the one that Enter gives
 */

/**
 * The answer; "" when it was closed.
 * @param {Question} question
 * @returns {Promise<string>}
 */
export function askInDialog({ title, content, answers }) {
    const heading = newId();
    const dialog = h('dialog', { 'aria-labelledby': heading });
    const form = h(
        'form',
        { method: 'dialog' },
        h('h2', { id: heading }, title),
        h('div', { class: 'dialog-content' }, ...content),
        h(
            'div',
            { class: 'buttons' },
            ...answers.map((answer) =>
                h('button', { value: answer.value, class: answer.kind ?? '', type: 'submit' }, answer.text),
            ),
        ),
    );
    dialog.append(form);
    document.body.append(dialog);
    dialog.showModal();
    /** @type {HTMLElement | null} */ (form.querySelector('button:last-child'))?.focus();
    return new Promise((resolve) => {
        dialog.addEventListener('close', () => {
            dialog.remove();
            resolve(dialog.returnValue);
        });
    });
}

/**
 * A button that opens a list of actions.
 * @param {import('./dom.js').IconName} name
 * @param {string} label
 * @param {() => ({text: string, run: () => unknown, disabled?: boolean, note?: string, checked?: boolean} | null)[]} items null: a line between
 */
export function menuButton(name, label, items) {
    const menu = h('div', { class: 'menu', role: 'menu', 'aria-label': label, hidden: true });
    const button = iconButton(name, label, () => (menu.hidden ? open() : close()), {
        'aria-haspopup': 'menu',
        'aria-expanded': 'false',
    });
    const wrapper = h('div', { class: 'menu-anchor' }, button, menu);

    /** @param {Event} event */
    const leave = (event) => {
        if (!wrapper.contains(/** @type {Node} */ (event.target))) {
            close();
        }
    };
    function close() {
        menu.hidden = true;
        button.setAttribute('aria-expanded', 'false');
        document.removeEventListener('pointerdown', leave);
    }
    function open() {
        refill(
            menu,
            items().map((item) =>
                item === null
                    ? h('hr')
                    : h(
                          'button',
                          {
                              type: 'button',
                              role: item.checked === undefined ? 'menuitem' : 'menuitemradio',
                              disabled: item.disabled ?? false,
                              'aria-checked': item.checked === undefined ? undefined : String(item.checked),
                              onclick: () => {
                                  close();
                                  button.focus();
                                  void action(item.run)();
                              },
                          },
                          h('span', {}, item.text),
                          item.note ? h('small', {}, item.note) : null,
                      ),
            ),
        );
        menu.hidden = false;
        button.setAttribute('aria-expanded', 'true');
        const box = menu.getBoundingClientRect();
        menu.classList.toggle('above', box.bottom > innerHeight - 8 && box.top > box.height + 60);
        document.addEventListener('pointerdown', leave);
        /** @type {HTMLElement | null} */ (menu.querySelector('button:not(:disabled)'))?.focus();
    }
    wrapper.addEventListener('keydown', (event) => {
        if (menu.hidden) {
            return;
        }
        const buttons = [...menu.querySelectorAll('button')].filter((item) => !item.disabled);
        const at = buttons.indexOf(/** @type {HTMLButtonElement} */ (document.activeElement));
        const by = { ArrowDown: 1, ArrowUp: -1 }[event.key];
        if (by) {
            event.preventDefault();
            buttons[(at + by + buttons.length) % buttons.length]?.focus();
        } else if (event.key === 'Escape') {
            event.preventDefault();
            event.stopPropagation();
            close();
            button.focus();
        } else if (event.key === 'Tab') {
            close();
        }
    });
    return wrapper;
}

/**
 * Choices side by side.
 * @param {string} label
 * @param {{value: string, text: string, disabled?: boolean}[]} choices
 * @param {string} chosen
 * @param {(value: string) => void} choose
 */
export function segments(label, choices, chosen, choose) {
    const name = newId();
    return h(
        'div',
        { class: 'segments', role: 'radiogroup', 'aria-label': label },
        choices.map((choice) =>
            h(
                'label',
                {},
                h('input', {
                    type: 'radio',
                    name,
                    value: choice.value,
                    checked: choice.value === chosen,
                    disabled: choice.disabled ?? false,
                    'data-focus': choice.value,
                    onchange: () => choose(choice.value),
                }),
                h('span', {}, choice.text),
            ),
        ),
    );
}

/**
 * @param {string} title
 * @param {import('./dom.js').Child[]} children
 * @param {import('./dom.js').Child[]} [beside] what stands at the end of the heading's line
 */
export function card(title, children, beside = []) {
    const id = newId();
    return h(
        'section',
        { class: 'card', 'aria-labelledby': id },
        h('div', { class: 'card-head' }, h('h2', { id }, title), ...beside),
        ...children,
    );
}

/**
 * @param {string} text
 * @param {string} name of the file
 * @param {string} type
 */
export function download(text, name, type) {
    downloadBlob(new Blob([text], { type }), name);
}

/**
 * @param {Blob} blob
 * @param {string} name
 */
export function downloadBlob(blob, name) {
    const url = URL.createObjectURL(blob);
    h('a', { href: url, download: name }).click();
    setTimeout(() => URL.revokeObjectURL(url), 10000);
}

/** Base of the pages: listens to the camera while it is shown. */
export class Page extends HTMLElement {
    #leave = new AbortController();

    connectedCallback() {
        this.#leave = new AbortController();
        this.show();
    }

    disconnectedCallback() {
        this.#leave.abort();
        this.leave();
    }

    get signal() {
        return this.#leave.signal;
    }

    /** @param {string} name @param {(detail: any) => void} listener */
    on(name, listener) {
        camera.addEventListener(name, (event) => listener(/** @type {CustomEvent} */ (event).detail), {
            signal: this.signal,
        });
    }

    /** Runs it again and again while the page is shown. @param {() => unknown} work @param {number} milliseconds */
    every(milliseconds, work) {
        if (this.signal.aborted) {
            return; // it was left before it was ready
        }
        const timer = setInterval(work, milliseconds);
        this.signal.addEventListener('abort', () => clearInterval(timer));
    }

    show() {}
    leave() {}
}
