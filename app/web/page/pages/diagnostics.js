// What the library prints and serves, and what leaves and enters the camera as a document.
import { ask, get } from '../api.js';
import { camera } from '../camera.js';
import { nameOf, schemeName } from '../names.js';
import { h, icon, refill } from '../dom.js';
import { parametersIn } from '../style-document.js';
import { known, t } from '../texts.js';
import { Page, action, card, download, notify } from '../ui.js';

const kLines = 500;
const kTypingPause = 300;

/** @param {string} mode */
function modeText(mode) {
    return t(mode === 'auto' ? 'mode_scheduled' : 'mode_by_hand');
}

class DiagnosticsPage extends Page {
    #camera = h('dl', { class: 'figures' });
    #settings = h('div', { class: 'settings' });
    #trace = h('pre', { class: 'log long', tabindex: '0', role: 'log' });
    #filter = h('input', { type: 'search' });
    #toggle = h('button', { type: 'button' });
    #log = h('pre', { class: 'log', tabindex: '0', role: 'group' });
    #document = h('pre', { class: 'log', tabindex: '0', role: 'group' });
    #plan = h('div', {});
    #events = h('ul', { class: 'rows events' });
    /** @type {EventSource | null} */
    #stream = null;
    /** @type {string[]} */
    #lines = [];
    #isDrawing = false;

    show() {
        for (const [element, text] of /** @type {[HTMLElement, string][]} */ ([
            [this.#trace, 'trace'],
            [this.#log, 'error_log'],
            [this.#document, 'documents'],
            [this.#filter, 'trace_filter'],
        ])) {
            element.setAttribute('aria-label', t(text));
        }
        this.#filter.placeholder = t('trace_filter');
        let timer = 0;
        this.#filter.oninput = () => {
            clearTimeout(timer);
            timer = window.setTimeout(() => (this.#stream ? this.#listen() : this.#drawTrace()), kTypingPause);
        };
        this.#toggle.onclick = action(() => (this.#stream ? this.#stop() : this.#begin()));
        refill(
            this,
            h(
                'div',
                { class: 'column' },
                this.#camera,
                card(t('trace'), [
                    h(
                        'div',
                        { class: 'form-row' },
                        this.#filter,
                        this.#toggle,
                        h(
                            'button',
                            {
                                type: 'button',
                                onclick: () => {
                                    this.#lines = [];
                                    this.#drawTrace();
                                },
                            },
                            t('clear'),
                        ),
                    ),
                    this.#trace,
                ]),
                card(t('error_log'), [this.#log]),
                card(t('documents'), [this.#documents(), this.#document]),
            ),
            h(
                'div',
                { class: 'column' },
                card(t('library'), [this.#settings]),
                card(t('events'), [this.#events]),
                card(t('transfer'), [this.#transfer(), this.#plan]),
                card(t('pair_text'), this.#pairs()),
            ),
        );
        this.#stop();
        this.#showCamera();
        this.on('happened', () => this.#showEvents());
        this.on('log', () => void this.#showLog());
        this.on('connection', () => (camera.connection === 'open' ? void this.#load() : this.#stop()));
        this.#showEvents();
        void this.#load();
    }

    leave() {
        this.#stream?.close();
    }

    async #load() {
        await action(async () => {
            this.#showSettings(await get('/api/diagnostics'));
            await this.#showLog();
        })();
    }

    #showCamera() {
        const { status } = camera;
        const rows = status
            ? [
                  ['model', t(`model_${status.model}`)],
                  ['sensor_module', String(status.module)],
                  ['version', status.version],
              ]
            : [];
        refill(
            this.#camera,
            rows.map(([text, value]) => h('div', {}, h('dt', {}, t(text)), h('dd', {}, value))),
        );
    }

    // ---- level -----------------------------------------------------------------------------------------------------

    /** @param {any} state */
    #showSettings(state) {
        const isLocked = !camera.may('administrator');
        const put = (/** @type {any} */ body) =>
            action(async () => this.#showSettings((await ask('PUT', '/api/diagnostics', body)).body))();
        const level = h(
            'select',
            {
                'aria-label': t('debug_level'),
                value: String(state.level),
                'data-focus': 'level',
                disabled: isLocked,
                onchange: () => void put({ level: Number(level.value) }),
            },
            [0, 1, 2, 3, 4, 5, 6, 7].map((number) => h('option', { value: String(number) }, t('level_number', number))),
        );
        const ends = h('input', {
            type: 'checkbox',
            role: 'switch',
            'aria-label': t('assertions'),
            checked: state.assertions,
            'data-focus': 'assertions',
            disabled: isLocked,
            onchange: () => void put({ assertions: ends.checked }),
        });
        refill(
            this.#settings,
            isLocked ? h('p', { class: 'note standing' }, icon('info'), t('only_administrator')) : null,
            h(
                'div',
                { class: 'control-row' },
                h('span', { class: 'control-name' }, t('debug_level')),
                h('div', { class: 'field' }, level),
            ),
            h('p', { class: 'quiet' }, t('level_hint')),
            h(
                'div',
                { class: 'control-row' },
                h('span', { class: 'control-name' }, t('assertions')),
                h('div', { class: 'field' }, h('span', { class: 'switch' }, ends, h('span', { class: 'knob' }))),
            ),
            h(
                'div',
                { class: 'buttons start' },
                h(
                    'button',
                    { type: 'button', disabled: isLocked || !state.marker, onclick: () => void put({ marker: false }) },
                    t('remove_marker'),
                ),
            ),
        );
    }

    // ---- trace -----------------------------------------------------------------------------------------------------

    /** With what was printed before. */
    async #begin() {
        if (this.#lines.length === 0) {
            this.#lines = (await get(`/api/output?lines=${kLines}`)).lines;
        }
        this.#listen();
    }

    #listen() {
        this.#stream?.close();
        const filter = this.#filter.value;
        this.#stream = new EventSource('/api/trace' + (filter ? `?filter=${encodeURIComponent(filter)}` : ''));
        this.#stream.addEventListener('line', (event) => this.#add(JSON.parse(event.data).line));
        this.#stream.addEventListener('lost', (event) => this.#add(t('lines_lost', JSON.parse(event.data).lines)));
        this.#toggle.textContent = t('trace_stop');
        this.#drawTrace();
    }

    #stop() {
        this.#stream?.close();
        this.#stream = null;
        this.#toggle.textContent = t('trace_start');
        this.#drawTrace();
    }

    /** @param {string} line */
    #add(line) {
        this.#lines = [...this.#lines, line].slice(-kLines);
        if (!this.#isDrawing) {
            this.#isDrawing = true;
            requestAnimationFrame(() => {
                this.#isDrawing = false;
                this.#drawTrace();
            });
        }
    }

    #drawTrace() {
        const isAtEnd = this.#trace.scrollHeight - this.#trace.scrollTop - this.#trace.clientHeight < 40;
        const lines = this.#lines.filter((line) => line.includes(this.#filter.value));
        this.#trace.textContent = lines.join('\n') || t(this.#stream ? 'trace_waits' : 'trace_off');
        if (isAtEnd) {
            this.#trace.scrollTop = this.#trace.scrollHeight;
        }
    }

    // ---- events and log --------------------------------------------------------------------------------------------

    #showEvents() {
        const names = new Map(
            parametersIn(camera.tabs).map(({ control, parent }) => [control.key, nameOf(parent ?? control)]),
        );
        const rows = camera.history.slice(0, 30).map(({ time, text, data }) => {
            const values = (data.values ?? [])
                .slice(0, 4)
                .map((/** @type {any} */ value) => `${names.get(value.key) ?? value.name} = ${value.value}`)
                .join(', ');
            const what = [
                data.scheme === undefined ? '' : schemeName(data.scheme),
                data.why ? t(`why_${data.why}`) : '',
                data.state ? t(`state_${data.state}`) : '',
                data.mode ? modeText(data.mode) : '',
                values,
                data.line ?? '',
            ].filter((part) => part);
            return h(
                'li',
                {},
                h('time', {}, time.toLocaleTimeString(known().current?.code)),
                h('strong', {}, t(`event_${text}`)),
                h('span', {}, what.join(' · ')),
                h('small', {}, data.by ?? ''),
            );
        });
        refill(this.#events, rows.length > 0 ? rows : h('li', { class: 'quiet' }, t('no_events')));
    }

    async #showLog() {
        const { lines } = await get('/api/log');
        this.#log.textContent = lines.join('\n') || t('log_empty');
    }

    // ---- documents -------------------------------------------------------------------------------------------------

    #documents() {
        const { languages } = known();
        const served = [
            { text: t('document_style'), path: '/api/style' },
            ...languages.flatMap((language) => [
                { text: `${t('document_texts')}: ${language.name}`, path: `/api/language/${language.id}` },
                { text: `${t('document_common')}: ${language.name}`, path: `/api/common/${language.id}` },
            ]),
            { text: t('document_openapi'), path: '/api/openapi.json' },
        ];
        const choice = h(
            'select',
            { 'aria-label': t('documents') },
            served.map((row) => h('option', { value: row.path }, row.text)),
        );
        const load = action(async () => {
            const answer = await get(choice.value);
            this.#document.textContent = typeof answer === 'string' ? answer : JSON.stringify(answer, null, 2);
        });
        this.#document.textContent = t('document_choose');
        return h(
            'div',
            { class: 'form-row' },
            choice,
            h('button', { type: 'button', onclick: load }, t('document_show')),
        );
    }

    // ---- export and import -----------------------------------------------------------------------------------------

    #transfer() {
        const file = h('input', {
            type: 'file',
            accept: 'application/json,.json',
            class: 'unseen',
            tabindex: '-1',
            'aria-label': t('import'),
        });
        file.onchange = action(async () => {
            const [chosen] = file.files ?? [];
            if (!chosen) {
                return;
            }
            const text = await chosen.text();
            file.value = '';
            /** @type {any} */
            let document;
            try {
                document = JSON.parse(text);
            } catch {
                notify(t('import_no_json', chosen.name), true);
                return;
            }
            await this.#showPlan(chosen.name, document);
        });
        return h(
            'div',
            { class: 'buttons start' },
            h(
                'button',
                {
                    type: 'button',
                    onclick: action(async () => {
                        const schemes = await get('/api/export');
                        download(
                            JSON.stringify(schemes, null, 2) + '\n',
                            `schemes-${schemes.model}.json`,
                            'application/json',
                        );
                    }),
                },
                icon('download'),
                h('span', {}, t('export')),
            ),
            h(
                'button',
                { type: 'button', disabled: !camera.may('administrator'), onclick: () => file.click() },
                icon('upload'),
                h('span', {}, t('import')),
            ),
            file,
        );
    }

    /** What would become of each value; nothing is done yet. @param {string} name @param {any} document */
    async #showPlan(name, document) {
        const { body: plan, revision } = await ask('POST', '/api/import?dry-run=true', document);
        const values = plan.schemes.flatMap((/** @type {any} */ scheme) =>
            scheme.values
                .filter((/** @type {any} */ value) => value.outcome !== 'unchanged')
                .map((/** @type {any} */ value) => ({ scheme: scheme.scheme, ...value })),
        );
        const skipped = values.filter((/** @type {any} */ row) => row.outcome === 'skipped').length;
        const others = plan.schemes.flatMap(
            (/** @type {any} */ { scheme, stored, window, check }, /** @type {number} */ i) => {
                if (stored === 'noScheme') {
                    return [{ scheme, name: '', outcome: 'skipped', text: t('import_noScheme') }];
                }
                const { enabled, from, to } = document.schemes[i].window ?? {};
                const value = enabled === false ? t('scheme_disabled') : `${from ?? ''}–${to ?? ''}`;
                const text =
                    window !== 'skipped' ? '' : t(check === 507 ? 'message_window_order' : 'message_window_late');
                return window ? [{ scheme, name: t('import_window'), value, outcome: window, text }] : [];
            },
        );
        const mode = plan.mode && [{ name: t('mode'), value: modeText(plan.mode), outcome: 'applied' }];
        const rows = [...(mode ?? []), ...others, ...values];
        refill(
            this.#plan,
            h('h3', {}, t('import_plan', name)),
            plan.sameModel ? null : h('p', { class: 'note standing' }, icon('warning'), t('import_other_model')),
            h('p', {}, t('import_counts', values.length - skipped, skipped)),
            rows.length === 0
                ? null
                : h(
                      'div',
                      { class: 'scroll', tabindex: '0', role: 'region', 'aria-label': t('import') },
                      h(
                          'table',
                          { class: 'plan' },
                          h(
                              'thead',
                              {},
                              h(
                                  'tr',
                                  {},
                                  ['scheme', 'parameter', 'before', 'after', 'outcome'].map((text) =>
                                      h('th', { scope: 'col' }, t(text)),
                                  ),
                              ),
                          ),
                          h(
                              'tbody',
                              {},
                              rows.map((/** @type {any} */ row) =>
                                  h(
                                      'tr',
                                      { class: row.outcome },
                                      h('td', {}, row.scheme === undefined ? '' : schemeName(row.scheme)),
                                      h('th', { scope: 'row' }, row.name),
                                      h('td', {}, row.before ?? ''),
                                      h('td', {}, row.value ?? row.asked ?? ''),
                                      h(
                                          'td',
                                          {},
                                          row.text || (row.why ? t(`import_${row.why}`) : t(`outcome_${row.outcome}`)),
                                      ),
                                  ),
                              ),
                          ),
                      ),
                  ),
            h(
                'div',
                { class: 'buttons' },
                h('button', { type: 'button', onclick: () => refill(this.#plan) }, t('button_cancel')),
                h(
                    'button',
                    {
                        type: 'button',
                        class: 'primary',
                        onclick: action(async () => {
                            await ask('POST', '/api/import', document, { revision });
                            refill(this.#plan);
                            notify(t('imported'));
                        }),
                    },
                    t('import_now'),
                ),
            ),
        );
    }

    // ---- pair text -------------------------------------------------------------------------------------------------

    #pairs() {
        const text = h('textarea', {
            rows: 3,
            spellcheck: 'false',
            'aria-label': t('pair_text'),
            placeholder: '(34,60)(2353,40)',
        });
        return [
            text,
            h(
                'div',
                { class: 'buttons start' },
                h(
                    'button',
                    {
                        type: 'button',
                        disabled: !camera.may('operator'),
                        onclick: action(async () => {
                            text.value = (await ask('POST', '/api/pairs')).body.pairs;
                        }),
                    },
                    t('pairs_read'),
                ),
                h(
                    'button',
                    {
                        type: 'button',
                        disabled: !camera.may('operator'),
                        onclick: action(async () => {
                            if (!/^\s*(\(\s*\d+\s*,\s*-?\d+\s*\)\s*)+$/.test(text.value)) {
                                notify(t('pairs_none'), true);
                                return;
                            }
                            const pairs = [...text.value.matchAll(/(\d+)\s*,\s*(-?\d+)/g)];
                            // An object would put them in order by their numbers, and forget one that comes twice.
                            const members = pairs.map(([, key, value]) => `"${key}": ${Number(value)}`);
                            await ask('PATCH', '/api/parameters', `{${members.join(', ')}}`);
                            notify(t('pairs_applied', pairs.length));
                        }),
                    },
                    t('pairs_apply'),
                ),
            ),
        ];
    }
}
customElements.define('sc-diagnostics', DiagnosticsPage);
