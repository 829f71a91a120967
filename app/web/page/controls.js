// Controls, made from the style document alone.
import { ask } from './api.js';
import { camera } from './camera.js';
import { fill, h, icon, iconButton, newId, refill } from './dom.js';
import { nameOf, partName, timeText, valueText } from './names.js';
import { styleText, t, unitText } from './texts.js';
import { Page, action, menuButton, notifyProblem } from './ui.js';

/** @typedef {import('./style-document.js').Control} Control */

/** What the device allows now; otherwise what the document says. @param {Control} control */
function rangeOf(control) {
    const allowed = camera.rows.get(control.key)?.allowed;
    return {
        min: allowed?.minimum ?? control.min,
        max: allowed?.maximum ?? control.max,
        step: allowed?.step ?? control.step,
    };
}

/** Of the document's choices those that the device takes now. @param {Control} control */
function choicesOf(control) {
    const allowed = camera.rows.get(control.key)?.allowed?.choices;
    return control.choices.filter((choice) => !allowed || allowed.some((item) => item.value === choice.value));
}

/** What can be done with a key beside giving it a value. @param {Control} control */
export function keyMenu(control) {
    const set = (/** @type {number} */ value) => camera.change(new Map([[control.key, value]]));
    return menuButton('more', `${nameOf(control)}: ${t('more')}`, () => {
        const isLocked = !camera.may('operator');
        const saved = camera.unsaved.find((row) => row.key === control.key && row.scheme === camera.status?.scheme);
        return [
            {
                text: t('set_factory'),
                note: valueText(control, control.factory),
                disabled: isLocked,
                run: () => set(control.factory),
            },
            {
                text: t('set_saved'),
                note: saved ? valueText(control, saved.saved) : undefined,
                disabled: !saved || isLocked,
                run: () => saved && set(saved.saved),
            },
            {
                text: t('send_again'),
                disabled: isLocked,
                run: () => camera.sendAgain(control.key),
            },
            { text: t('explain'), run: async () => (await import('./explain.js')).explainKey(control) },
        ];
    });
}

/** One control with its label, its mark and its menu. */
class ControlElement extends Page {
    /** @type {Control} */
    control = /** @type {any} */ (null);
    #label = newId();
    #mark = h('span', { class: 'mark', hidden: true });
    #note = h('p', { class: 'note', id: newId(), hidden: true });
    #factory = h('p', { class: 'quiet', hidden: true });
    #standing = h('p', { class: 'note device-standing', hidden: true });
    /** Shows what is in force. */
    #update = () => {};
    #limits = '';

    show() {
        this.className = `control control-${this.control.kind}`;
        this.dataset.key = String(this.control.key);
        this.#build();
        this.on('values', (/** @type {Set<number> | null} */ keys) => this.#refresh(keys));
        this.on('unsaved', () => this.#refreshMark());
        this.on('trial', () => this.#refreshMark());
        this.on('status', () => this.#refreshStanding());
    }

    /** Keys that decide what it shows. */
    get #keys() {
        const own = [this.control, ...this.control.parts, ...this.control.parts.flatMap((part) => part.parts)];
        return [
            ...own.map((control) => control.key),
            ...this.control.when.map((condition) => condition.key),
            this.control.excludes,
        ];
    }

    #build() {
        this.#limits = this.#limitsNow();
        this.#update = () => {};
        const kinds = /** @type {Record<string, () => import('./dom.js').Child[]>} */ ({
            slider: () => this.#slider(),
            number: () => [this.#row(this.#numberField(this.control, nameOf(this.control)), this.#unit())],
            switch: () => [this.#row(this.#switch())],
            combo: () => [this.#row(this.#combo())],
            radio: () => this.#radio(),
            pad: () => this.#pad(),
            button: () => [this.#button()],
            time: () => [this.#row(this.#time(this.control))],
            window: () => [this.#window()],
            notice: () => [h('p', { class: 'note standing' }, icon('info'), nameOf(this.control))],
        });
        refill(this, kinds[this.control.kind]?.() ?? [], this.#factory, this.#standing, this.#note);
        this.#refresh(null);
        this.#refreshStanding();
    }

    #limitsNow() {
        return JSON.stringify([...this.#keys].map((key) => camera.rows.get(key)?.allowed ?? null));
    }

    /** @param {Set<number> | null} keys null: any */
    #refresh(keys) {
        if (keys && !this.#keys.some((key) => keys.has(key))) {
            return;
        }
        if (!keys && this.#limits !== this.#limitsNow() && !this.contains(document.activeElement)) {
            this.#build();
            return;
        }
        this.hidden = !camera.isShown(this.control);
        this.#update();
        this.#refreshMark();
        this.#refreshFactory();
    }

    /** Why a real device does not have the value yet. */
    #refreshStanding() {
        const standing = camera.standingOf(this.control.key);
        this.#standing.hidden = standing === '';
        this.#standing.textContent = standing && t(`standing_${standing}`);
    }

    /** A slider has its own line for it. */
    #refreshFactory() {
        const { control } = this;
        const isOther = (camera.values.get(control.key) ?? control.factory) !== control.factory;
        const isNumber = control.kind === 'number';
        const range = rangeOf(control);
        const factory = `${t('factory_value')}: ${valueText(control, control.factory)}`;
        this.#factory.hidden =
            this.#isOfWindow || !(isNumber || (isOther && ['switch', 'combo', 'radio'].includes(control.kind)));
        this.#factory.textContent = isNumber ? `${range.min} … ${range.max} · ${factory}` : factory;
    }

    #refreshMark() {
        const isOnTrial = camera.trials.has(this.control.key);
        const isUnsaved = this.#keys.some((key) => camera.isUnsaved(key)) && camera.isUnsaved(this.control.key);
        this.#mark.hidden = !isOnTrial && !isUnsaved;
        this.#mark.className = isOnTrial ? 'mark trial' : 'mark';
        const text = isOnTrial ? t('on_trial') : t('unsaved');
        this.#mark.title = text;
        refill(this.#mark, h('span', { class: 'unseen' }, text));
    }

    get #isLocked() {
        return !camera.may('operator');
    }

    /** @param {number} value */
    #set(value) {
        camera.change(new Map([[this.control.key, value]]));
    }

    // ---- parts -----------------------------------------------------------------------------------------------------

    #head() {
        return h('div', { class: 'control-name' }, h('span', { id: this.#label }, nameOf(this.control)), this.#mark);
    }

    /** @param {...import('./dom.js').Child} field */
    #row(...field) {
        return h('div', { class: 'control-row' }, this.#head(), h('div', { class: 'field' }, ...field), this.#menu());
    }

    #unit() {
        return this.control.unit ? h('span', { class: 'unit' }, unitText(this.control.unit)) : null;
    }

    #menu() {
        return this.control.key < 0 || this.#isOfWindow ? null : keyMenu(this.control);
    }

    /** @param {Control} control @param {string} label @param {(value: number) => void} [set] */
    #numberField(control, label, set) {
        const range = rangeOf(control);
        const digits = control.kind === 'hour' || control.kind === 'minute' ? 2 : 1;
        const shown = () => String(camera.values.get(control.key) ?? '').padStart(digits, '0');
        const input = h('input', {
            type: 'number',
            inputmode: 'numeric',
            ...range,
            'aria-label': label,
            disabled: this.#isLocked,
            onchange: () => {
                const wanted = Math.min(range.max, Math.max(range.min, Math.round(Number(input.value))));
                if (Number.isFinite(wanted) && input.value !== '') {
                    if (set) {
                        set(wanted);
                    } else {
                        camera.change(new Map([[control.key, wanted]]));
                    }
                }
                input.value = shown();
            },
            onblur: () => (input.value = shown()),
        });
        this.#also(() => {
            if (document.activeElement !== input || input.value === '') {
                input.value = shown();
            }
        });
        return input;
    }

    /** @param {() => void} update */
    #also(update) {
        const before = this.#update;
        this.#update = () => {
            before();
            update();
        };
    }

    #slider() {
        const { control } = this;
        const range = rangeOf(control);
        const slider = h('input', {
            type: 'range',
            ...range,
            'aria-labelledby': this.#label,
            disabled: this.#isLocked,
            oninput: () => this.#set(Number(slider.value)),
        });
        const share = (/** @type {number} */ value) => (value - range.min) / Math.max(1, range.max - range.min);
        this.#also(() => {
            const value = camera.values.get(control.key) ?? range.min;
            slider.value = String(value);
            slider.style.setProperty('--share', String(share(value)));
            slider.setAttribute('aria-valuetext', valueText(control, value));
        });
        const tick = h('span', {
            class: 'tick',
            title: `${t('factory_value')}: ${valueText(control, control.factory)}`,
        });
        const factory = Math.min(1, Math.max(0, share(control.factory)));
        const ends = h(
            'div',
            { class: `ends${factory < 0.25 ? ' low' : factory > 0.75 ? ' high' : ''}`, 'aria-hidden': 'true' },
            h('span', {}, String(range.min)),
            h('span', { class: 'factory' }, `${t('factory_value')} ${control.factory}`),
            h('span', {}, String(range.max)),
        );
        tick.style.setProperty('--share', String(factory));
        ends.style.setProperty('--share', String(factory));
        return [
            this.#row(this.#numberField(control, nameOf(control)), this.#unit()),
            h('div', { class: 'slider' }, slider, tick),
            ends,
        ];
    }

    #switch() {
        const { control } = this;
        const input = h('input', {
            type: 'checkbox',
            role: 'switch',
            'aria-labelledby': this.#label,
            'aria-describedby': this.#note.id,
            onchange: () => {
                if (this.#isOfWindow) {
                    void this.#setWindow({ enabled: input.checked });
                } else {
                    this.#set(input.checked ? 1 : 0);
                }
            },
        });
        this.#also(() => {
            const other = camera.excludedBy(control);
            input.checked = (camera.values.get(control.key) ?? 0) !== 0;
            input.disabled =
                this.#isLocked || (other !== null && !input.checked) || (this.#isOfWindow && this.#hasNoWindow);
            this.#note.hidden = other === null || input.checked;
            this.#note.textContent = other ? t('message_exclusive', nameOf(control), nameOf(other)) : '';
        });
        return h('span', { class: 'switch' }, input, h('span', { class: 'knob' }));
    }

    #combo() {
        const { control } = this;
        const select = h(
            'select',
            {
                'aria-labelledby': this.#label,
                disabled: this.#isLocked,
                onchange: () => this.#set(Number(select.value)),
            },
            choicesOf(control).map((choice) => h('option', { value: String(choice.value) }, nameOf(choice))),
        );
        this.#also(() => {
            select.value = String(camera.values.get(control.key) ?? '');
        });
        return select;
    }

    #radio() {
        const { control } = this;
        const name = newId();
        const group = h(
            'div',
            { class: 'segments', role: 'radiogroup', 'aria-labelledby': this.#label },
            choicesOf(control).map((choice) =>
                h(
                    'label',
                    {},
                    h('input', {
                        type: 'radio',
                        name,
                        value: String(choice.value),
                        disabled: this.#isLocked,
                        onchange: () => this.#set(choice.value),
                    }),
                    h('span', {}, nameOf(choice)),
                ),
            ),
        );
        this.#also(() => {
            for (const input of group.querySelectorAll('input')) {
                input.checked = Number(input.value) === camera.values.get(control.key);
            }
        });
        return [h('div', { class: 'control-row' }, this.#head(), this.#menu()), group];
    }

    /** Its first choice stands for no direction; the others press. */
    #pad() {
        const { control } = this;
        const icons = /** @type {import('./dom.js').IconName[]} */ (['left', 'right', 'up', 'down']);
        const directions = choicesOf(control).filter((choice) => choice.value !== control.factory);
        return [
            h('div', { class: 'control-row' }, this.#head()),
            h(
                'div',
                { class: 'pad', role: 'group', 'aria-labelledby': this.#label },
                directions.map((choice, i) =>
                    iconButton(
                        icons[i] ?? 'plus',
                        nameOf(choice),
                        action(() => camera.press(control.key, choice.value)),
                        { disabled: this.#isLocked, 'data-at': icons[i] },
                    ),
                ),
            ),
        ];
    }

    #button() {
        const { control } = this;
        return h(
            'button',
            {
                type: 'button',
                disabled: this.#isLocked,
                onclick: action(() => camera.press(control.key, control.press)),
            },
            nameOf(control),
        );
    }

    /** @param {Control} time @param {string} [title] */
    #time(time, title = nameOf(time)) {
        const isWindow = this.#isOfWindow;
        const fields = time.parts.map((part) =>
            this.#numberField(
                part,
                `${title}: ${partName(part)}`,
                isWindow ? (value) => void this.#setWindow({ [part.key]: value }) : undefined,
            ),
        );
        fields.forEach((field) => {
            field.disabled ||= isWindow && this.#hasNoWindow;
        });
        return h('span', { class: 'time' }, fields[0], h('span', { 'aria-hidden': 'true' }, ':'), fields[1]);
    }

    #window() {
        return h(
            'div',
            { class: 'control-window' },
            this.#head(),
            this.control.parts.map((time) =>
                h(
                    'label',
                    { class: 'window-end' },
                    h('span', {}, nameOf(time)),
                    this.#time(time, `${nameOf(this.control)}, ${nameOf(time)}`),
                ),
            ),
        );
    }

    // ---- the daily window, which goes to the scheme's file as a whole ------------------------------------------------

    get #isOfWindow() {
        return this.#keys.some((key) => camera.rows.get(key)?.onlyStored);
    }

    get #hasNoWindow() {
        return camera.status?.scheme === undefined || camera.status.scheme === camera.status.defaultScheme;
    }

    /** @param {Record<string, any>} change "enabled", or keys of hours and minutes */
    async #setWindow(change) {
        const path = `/api/schemes/${camera.status?.scheme}/window`;
        try {
            const { body, revision } = await ask('GET', path);
            const window = { enabled: body.enabled, from: body.from, to: body.to, ...change };
            this.control.parts.forEach((time, i) => {
                const [hour, minute] = time.parts.map((part) => change[part.key] ?? camera.values.get(part.key) ?? 0);
                window[i === 0 ? 'from' : 'to'] = timeText(hour * 60 + minute);
            });
            const { enabled, from, to } = window;
            await ask('PUT', path, { enabled, from, to }, { revision });
        } catch (error) {
            notifyProblem(error);
        }
        this.#update();
    }
}
customElements.define('sc-control', ControlElement);

/** @param {Control} control */
export function controlElement(control) {
    const element = /** @type {ControlElement} */ (document.createElement('sc-control'));
    element.control = control;
    return element;
}

/** A group with its heading; out of sight while none of its controls is shown. */
class GroupElement extends Page {
    /** @type {import('./style-document.js').Group} */
    group = /** @type {any} */ (null);

    show() {
        const id = newId();
        this.className = 'card group';
        this.setAttribute('role', 'group');
        this.setAttribute('aria-labelledby', id);
        refill(this, h('h2', { id }, styleText(this.group.text)));
        /** @type {HTMLElement | null} */
        let buttons = null; // push buttons side by side
        for (const control of this.group.controls) {
            if (control.kind !== 'button') {
                buttons = null;
                fill(this, controlElement(control));
                continue;
            }
            if (!buttons) {
                buttons = h('div', { class: 'buttons start' });
                fill(this, buttons);
            }
            fill(buttons, controlElement(control));
        }
        this.on('values', () => this.#refresh());
        this.#refresh();
    }

    #refresh() {
        this.hidden = !this.group.controls.some((control) => camera.isShown(control));
    }
}
customElements.define('sc-group', GroupElement);

/**
 * Makes controls anew; the one that was in use stays so.
 * @param {HTMLElement} area
 * @param {() => void} rebuild
 */
export function keepingFocus(area, rebuild) {
    const used = document.activeElement?.closest('sc-control');
    const key = used instanceof HTMLElement && area.contains(used) ? used.dataset.key : undefined;
    rebuild();
    const same = key === undefined ? null : area.querySelector(`sc-control[data-key="${key}"]`);
    const field = same?.querySelector('input:checked') ?? same?.querySelector('select, input, button');
    if (field instanceof HTMLElement) {
        field.focus();
    }
}

/** @param {import('./style-document.js').Group} group */
export function groupElement(group) {
    const element = /** @type {GroupElement} */ (document.createElement('sc-group'));
    element.group = group;
    return element;
}
