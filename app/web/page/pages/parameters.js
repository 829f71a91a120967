// All parameters: a tab for each of the style document's, and a search over all keys.
import { camera } from '../camera.js';
import { controlElement, groupElement, keepingFocus } from '../controls.js';
import { controlName } from '../device-controls.js';
import { h, icon, refill } from '../dom.js';
import { nameOf } from '../names.js';
import { pictureElement } from '../picture.js';
import { parametersIn } from '../style-document.js';
import { styleText, t } from '../texts.js';
import { Page } from '../ui.js';

const kAllKeys = 'all-keys'; // a page beside those of the style document

class ParametersPage extends Page {
    #search = h('input', { type: 'search' });
    #list = h('div', { class: 'tabs', role: 'tablist' });
    #content = h('div', { class: 'tab-content' });
    #all = h('a', { class: 'all-keys', href: `#parameters/${kAllKeys}` });
    #legend = h('p', { class: 'legend' });
    #tab = '';

    show() {
        this.#search.placeholder = t('search_parameters');
        this.#search.setAttribute('aria-label', t('search_parameters'));
        this.#search.oninput = () => this.#refresh();
        this.#list.setAttribute('aria-label', t('page_parameters'));
        this.#list.onkeydown = (event) => this.#move(event);
        this.#all.textContent = t('all_keys');
        refill(this.#legend, h('span', { class: 'mark', 'aria-hidden': 'true' }), t('unsaved'));
        refill(
            this,
            h(
                'div',
                { class: 'side' },
                h('div', { class: 'search' }, icon('search'), this.#search),
                this.#list,
                this.#all,
            ),
            this.#content,
            h('aside', { class: 'preview', 'aria-label': t('live_picture') }, pictureElement(true), this.#legend),
        );
        this.on('style', () => this.#refresh());
        this.on('unsaved', () => this.#markTabs());
        addEventListener('hashchange', () => this.#open(), { signal: this.signal });
        this.#open();
    }

    #open() {
        const [page, tab] = location.hash.slice(1).split('/');
        if (page === 'parameters' && tab && tab !== this.#tab) {
            this.#tab = tab;
            this.#search.value = '';
        }
        this.#refresh();
    }

    /** @param {string} tab */
    #choose(tab) {
        this.#tab = tab;
        this.#search.value = '';
        history.replaceState(null, '', `#parameters/${tab}`);
        this.#refresh();
    }

    #refresh() {
        const find = (/** @type {string} */ key) => camera.tabs.find((candidate) => candidate.key === key);
        const tab = this.#tab === kAllKeys ? undefined : (find(this.#tab) ?? find('image') ?? camera.tabs[0]);
        this.#tab = tab?.key ?? kAllKeys;
        const words = this.#search.value.trim().toLowerCase();
        const hadFocus = this.#list.contains(document.activeElement);
        refill(
            this.#list,
            camera.tabs.map(({ key, text }, i) =>
                h(
                    'button',
                    {
                        type: 'button',
                        role: 'tab',
                        id: `tab-${key}`,
                        'aria-selected': String(key === this.#tab && words === ''),
                        'aria-controls': 'tab-content',
                        tabindex: key === this.#tab || (!tab && i === 0) ? '0' : '-1',
                        'data-tab': key,
                        onclick: () => this.#choose(key),
                    },
                    styleText(text),
                ),
            ),
        );
        this.#markTabs();
        const chosen = /** @type {HTMLElement | null} */ (this.#list.querySelector(`[data-tab="${this.#tab}"]`));
        if (hadFocus) {
            chosen?.focus();
        }
        chosen?.scrollIntoView({ block: 'nearest', inline: 'nearest' });
        this.#content.id = 'tab-content';
        this.#content.setAttribute('role', 'tabpanel');
        this.#content.setAttribute('aria-label', tab ? styleText(tab.text) : t('all_keys'));
        if (tab || words !== '') {
            this.#all.removeAttribute('aria-current');
        } else {
            this.#all.setAttribute('aria-current', 'true');
        }
        if (words !== '') {
            this.#find(words);
        } else if (tab) {
            keepingFocus(this.#content, () => refill(this.#content, tab.groups.map(groupElement)));
        } else {
            void this.#showAllKeys();
        }
    }

    async #showAllKeys() {
        await import('../all-keys.js');
        if (this.#tab === kAllKeys) {
            refill(this.#content, document.createElement('sc-all-keys'));
        }
    }

    /** By name, by page, by the key's name and by its number. @param {string} words */
    #find(words) {
        const found = parametersIn(camera.tabs).filter(({ tab, group, control, parent }) => {
            const own = controlName(control.key);
            const names = own ? [own] : [camera.rows.get(control.key)?.name ?? '', String(control.key)];
            const texts = [
                nameOf(parent ?? control),
                styleText(tab.text),
                styleText(group.text),
                ...names,
                ...control.choices.map(nameOf),
            ];
            return words.split(/\s+/).every((word) => texts.some((text) => text.toLowerCase().includes(word)));
        });
        // A part of a time is shown with the whole of it.
        const controls = [...new Map(found.map((row) => [row.parent ?? row.control, row])).entries()];
        const shown = new Set(parametersIn(camera.tabs).map(({ control }) => control.key));
        const others = [...camera.rows.values()].filter(
            ({ key, name }) =>
                !shown.has(key) &&
                words.split(/\s+/).every((word) => name.toLowerCase().includes(word) || String(key).includes(word)),
        );
        if (controls.length + others.length === 0) {
            refill(this.#content, h('p', { class: 'empty' }, t('search_nothing')));
            return;
        }
        refill(
            this.#content,
            controls.map(([control, row]) =>
                h(
                    'section',
                    { class: 'card found' },
                    h(
                        'a',
                        { href: `#parameters/${row.tab.key}`, class: 'path' },
                        `${styleText(row.tab.text)} › ${styleText(row.group.text)}`,
                    ),
                    camera.isShown(control)
                        ? null
                        : h('p', { class: 'note standing' }, icon('info'), t('not_shown_now', nameOf(control))),
                    controlElement(control),
                ),
            ),
            others.map(({ key, name }) =>
                h(
                    'section',
                    { class: 'card found' },
                    h(
                        'a',
                        { href: `#parameters/${kAllKeys}`, class: 'path', onclick: () => this.#choose(kAllKeys) },
                        t('all_keys'),
                    ),
                    h('p', {}, `${name} · ${key}`),
                ),
            ),
        );
    }

    #markTabs() {
        this.#legend.hidden = !camera.unsaved.some((row) => row.scheme === camera.status?.scheme);
        for (const button of this.#list.querySelectorAll('button')) {
            const tab = camera.tabs.find((candidate) => candidate.key === button.dataset.tab);
            const isUnsaved =
                tab !== undefined && parametersIn([tab]).some(({ control }) => camera.isUnsaved(control.key));
            button.querySelector('.mark')?.remove();
            if (isUnsaved) {
                button.append(
                    h('span', { class: 'mark', title: t('unsaved') }, h('span', { class: 'unseen' }, t('unsaved'))),
                );
            }
        }
    }

    /** @param {KeyboardEvent} event */
    #move(event) {
        const by = { ArrowDown: 1, ArrowRight: 1, ArrowUp: -1, ArrowLeft: -1 }[event.key];
        const at = camera.tabs.findIndex((tab) => tab.key === this.#tab);
        if (by) {
            event.preventDefault();
            this.#choose(camera.tabs[(at + by + camera.tabs.length) % camera.tabs.length].key);
        }
    }
}
customElements.define('sc-parameters', ParametersPage);
