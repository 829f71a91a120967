// The picture, what it is made with, and beside it the controls that change it.
import { camera } from '../camera.js';
import { groupElement, keepingFocus } from '../controls.js';
import { h, icon, refill } from '../dom.js';
import { pictureElement } from '../picture.js';
import { signalsElement } from '../signals.js';
import { styleText, t } from '../texts.js';
import { Page, action } from '../ui.js';

class LivePage extends Page {
    #panel = h('div', { class: 'panel-body' });
    #tabs = h('select', {});
    #trial = h('div', { class: 'trial-bar', hidden: true });

    show() {
        this.#tabs.setAttribute('aria-label', t('page_parameters'));
        this.#tabs.onchange = () => this.#showTab();
        const picture = pictureElement(false);
        refill(
            this,
            h('div', { class: 'viewer' }, picture, signalsElement(picture)),
            h(
                'aside',
                { class: 'panel', 'aria-label': t('page_parameters') },
                h('div', { class: 'panel-head' }, this.#tabs, this.#trial),
                this.#panel,
            ),
        );
        this.on('style', () => this.#fill());
        this.on('trial', () => this.#showTrial());
        this.#fill();
        this.#showTrial();
    }

    #fill() {
        const before = this.#tabs.value || 'image';
        const tabs = camera.tabs.filter((tab) => tab.key !== 'schedule');
        refill(
            this.#tabs,
            tabs.map((tab) => h('option', { value: tab.key }, styleText(tab.text))),
        );
        this.#tabs.value = tabs.some((tab) => tab.key === before) ? before : (tabs[0]?.key ?? '');
        this.#showTab();
    }

    #showTab() {
        const tab = camera.tabs.find((candidate) => candidate.key === this.#tabs.value);
        keepingFocus(this.#panel, () => refill(this.#panel, tab?.groups.map(groupElement)));
    }

    #showTrial() {
        const count = camera.trials.own?.keys.size ?? 0;
        this.#trial.hidden = !camera.trials.isOn;
        refill(
            this.#trial,
            h('p', { class: 'note standing' }, icon('compare'), h('span', {}, t('trying_out', count))),
            h('button', { type: 'button', onclick: action(() => camera.endTrying(false)) }, t('trial_undo')),
            h(
                'button',
                {
                    type: 'button',
                    class: 'primary',
                    disabled: count === 0,
                    onclick: action(() => camera.endTrying(true)),
                },
                t('trial_keep'),
            ),
        );
    }
}
customElements.define('sc-live', LivePage);
