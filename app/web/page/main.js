// The frame around the pages: navigation, the camera's state, what goes for all of it.
import { ask } from './api.js';
import { camera } from './camera.js';
import { h, icon, iconButton, refill } from './dom.js';
import { problemText, schemeName } from './names.js';
import * as texts from './texts.js';
import { action, askInDialog, menuButton, noticeArea, notify } from './ui.js';

const { t } = texts;

/** @type {{name: string, icon: import('./dom.js').IconName}[]} */
const kPages = [
    { name: 'live', icon: 'live' },
    { name: 'parameters', icon: 'parameters' },
    { name: 'schemes', icon: 'schemes' },
    { name: 'lens', icon: 'lens' },
    { name: 'world', icon: 'world' },
    { name: 'diagnostics', icon: 'diagnostics' },
];

const banner = h('div', { class: 'banner', role: 'alert', hidden: true });
const deviceBanner = h('div', { class: 'banner away', role: 'alert', hidden: true });
const header = h('header', { class: 'top' });
const navigation = h('nav', { class: 'pages' });
const main = h('main', { id: 'main', tabindex: '-1' });
const facts = h('div', { class: 'facts' });
const save = h('button', { type: 'button', class: 'primary save' });
const undo = iconButton('undo', '', () => camera.undo());
const redo = iconButton('redo', '', () => camera.redo(), { class: 'icon-button redo' });
let shown = '';

/** The page that the address names. */
function wanted() {
    const name = location.hash.slice(1).split('/')[0];
    return kPages.some((page) => page.name === name) ? name : 'live';
}

// ---- light and dark ----------------------------------------------------------------------------------------------

const kThemes = ['system', 'light', 'dark'];

function theme() {
    return localStorage.getItem('theme') ?? 'system';
}

/** @param {string} name */
function useTheme(name) {
    localStorage.setItem('theme', name);
    document.documentElement.dataset.theme = name;
}

// ---- header ------------------------------------------------------------------------------------------------------

function buildHeader() {
    for (const [button, text] of /** @type {[HTMLElement, string][]} */ ([
        [undo, t('undo')],
        [redo, t('redo')],
    ])) {
        button.title = text;
        button.setAttribute('aria-label', text);
    }
    refill(
        header,
        h(
            'a',
            { class: 'brand', href: '#live' },
            h('img', { src: '/icon.svg', alt: '', width: 32, height: 32 }),
            h('span', { class: 'model' }),
        ),
        facts,
        h('div', { class: 'actions' }, undo, redo, save, menuButton('more', t('menu'), menuItems)),
    );
    refreshHeader();
}

function menuItems() {
    const { languages, current } = texts.known();
    const isOperator = camera.may('operator');
    return [
        ...languages.map((language) => ({
            text: language.name,
            checked: language === current,
            run: async () => {
                await texts.choose(language.code);
                rebuild();
            },
        })),
        null,
        ...kThemes.map((name) => ({ text: t(`theme_${name}`), checked: name === theme(), run: () => useTheme(name) })),
        null,
        {
            text: t('unsaved_list'),
            note: String(camera.unsaved.length),
            disabled: camera.unsaved.length === 0,
            run: async () => (await import('./explain.js')).listUnsaved(),
        },
        { text: t('button_reload'), disabled: !isOperator, run: reload },
        { text: t('button_reset'), disabled: !camera.may('administrator'), run: reset },
        ...(camera.session.name
            ? [null, { text: t('log_out'), note: camera.session.name, run: () => camera.logout() }]
            : []),
    ];
}

function refreshHeader() {
    const { status } = camera;
    if (!status || header.childElementCount === 0) {
        return;
    }
    const model = /** @type {HTMLElement} */ (header.querySelector('.model'));
    const title = status.device?.name ?? t(`model_${status.model}`);
    model.textContent = title;
    document.title = `${t(`page_${shown || 'live'}`)} · ${title}`;
    refill(
        facts,
        h('span', { class: 'fact clock' }, status.time),
        h('span', { class: 'fact' }, icon(status.night ? 'moon' : 'world'), status.night ? t('night') : t('day')),
        status.lux === undefined
            ? null
            : h(
                  'span',
                  { class: 'fact wide' },
                  `${texts.numeral(status.lux, status.lux < 10 ? 1 : 0)} ${t('unit_lux')}`,
              ),
        h('a', { class: 'fact', href: '#schemes' }, schemeName(status.scheme)),
        h('span', { class: 'fact wide' }, status.mode === 'auto' ? t('mode_scheduled') : t('mode_by_hand')),
    );
}

function refreshSave() {
    const count = camera.unsaved.length;
    const inForce = camera.unsaved.filter((row) => row.scheme === camera.status?.scheme).length;
    const hasFile = camera.status?.scheme !== undefined && camera.status.scheme !== camera.status.defaultScheme;
    save.disabled = inForce === 0 || !camera.may('operator') || !hasFile;
    save.title = count === 0 ? t('saved') : hasFile ? t('unsaved_count', count) : t('default_not_saved');
    refill(
        save,
        icon('save'),
        h('span', { class: 'word' }, inForce > 0 ? t('save_count', inForce) : t('saved')),
        inForce > 0 ? h('span', { class: 'count', 'aria-hidden': 'true' }, String(inForce)) : null,
    );
    undo.disabled = !camera.canUndo;
    redo.disabled = !camera.canRedo;
}
save.addEventListener(
    'click',
    action(async () => {
        await camera.idle();
        const { body } = await ask('POST', '/api/save');
        notify(t('message_saved', body.scheme));
    }),
);

async function reload() {
    await ask('POST', '/api/reload');
    notify(t('message_reloaded'));
}

async function reset() {
    const answer = await askInDialog({
        title: t('button_reset'),
        content: [h('p', {}, t('message_confirm_reset'))],
        answers: [
            { text: t('button_reset'), value: 'reset', kind: 'danger' },
            { text: t('button_cancel'), value: '' },
        ],
    });
    if (answer === 'reset') {
        await ask('POST', '/api/reset');
        notify(t('message_reset'));
    }
}

// ---- pages -------------------------------------------------------------------------------------------------------

/** @type {Map<string, Promise<void>>} */
const sheets = new Map();

/** Its style, once; settles when it is in force. What has failed is forgotten. @param {string} name */
function loadSheet(name) {
    const loaded =
        sheets.get(name) ??
        new Promise((resolve, reject) => {
            const fail = () => {
                sheets.delete(name);
                sheet.remove();
                reject(new Error(`no style of ${name}`));
            };
            const href = `/pages/${name}.css`;
            const sheet = h('link', { rel: 'stylesheet', href, onload: () => resolve(), onerror: fail });
            document.head.append(sheet);
        });
    sheets.set(name, loaded);
    return loaded;
}

async function showPage() {
    const name = wanted();
    shown = name;
    for (const link of navigation.querySelectorAll('a')) {
        if (link.hash === `#${name}`) {
            link.setAttribute('aria-current', 'page');
        } else {
            link.removeAttribute('aria-current');
        }
    }
    try {
        await Promise.all([import(`./pages/${name}.js`), loadSheet(name)]);
    } catch {
        camera.lose(); // shown when it is back
        return;
    }
    if (shown === name && camera.connection !== 'login') {
        refill(main, h('h1', { class: 'unseen' }, t(`page_${name}`)), document.createElement(`sc-${name}`));
        main.className = `page-${name}`;
        document.documentElement.scrollTop = 0;
        refreshHeader();
    }
}

/** All anew, in the language that was chosen. */
function rebuild() {
    navigation.setAttribute('aria-label', t('pages'));
    refill(
        navigation,
        kPages.map((page) => h('a', { href: `#${page.name}` }, icon(page.icon), h('span', {}, t(`page_${page.name}`)))),
    );
    buildHeader();
    refreshSave();
    refill(
        document.body,
        h(
            'a',
            {
                class: 'skip',
                href: '#main',
                onclick: (/** @type {Event} */ event) => {
                    event.preventDefault();
                    main.focus();
                },
            },
            t('skip'),
        ),
        header,
        banner,
        deviceBanner,
        navigation,
        main,
        noticeArea(),
    );
    void showPage();
}

async function showLogin() {
    const [{ loginForm }] = await Promise.all([import('./login.js'), loadSheet('login').catch(() => {})]);
    if (camera.connection === 'login') {
        refill(document.body, h('main', { class: 'login-page' }, loginForm()));
        document.querySelector('input')?.focus();
    }
}

// ---- the camera comes and goes -------------------------------------------------------------------------------------

let isBuilt = false;

camera.addEventListener('connection', () => {
    const { connection } = camera;
    document.body.classList.toggle('lost', connection === 'lost');
    if (connection === 'login') {
        isBuilt = false;
        void showLogin();
        return;
    }
    if (connection === 'open' && !isBuilt) {
        isBuilt = true;
        rebuild();
    } else if (connection === 'open' && !main.querySelector(`sc-${shown}:not(:empty)`)) {
        void showPage(); // it was asked for while the camera was away
    }
    refreshDevice();
    const isLost = connection === 'lost';
    if (isLost && !isBuilt) {
        refill(document.body, banner); // nothing has been seen of the camera yet, not even a language
    }
    refill(
        banner,
        icon('offline'),
        h('strong', {}, isBuilt ? t('disconnected') : 'sensorcam'),
        h('span', {}, isBuilt ? t('reconnecting') : '…'),
    );
    if (banner.hidden === isLost) {
        banner.hidden = !isLost;
        main.inert = isLost;
        if (!isLost && isBuilt && connection === 'open') {
            notify(t('connected'));
        }
    }
});
/** The settings stay usable: what is set is sent when the device is back. */
function refreshDevice() {
    const isLost = camera.connection === 'open' && camera.status?.device?.there === false;
    if (deviceBanner.hidden === isLost) {
        const text = h('span', {}, h('strong', {}, t('device_lost')), ' ', t('device_lost_note'));
        refill(deviceBanner, icon('offline'), text);
        deviceBanner.hidden = !isLost;
    }
}

camera.addEventListener('status', () => {
    refreshDevice();
    refreshHeader();
    refreshSave();
});
for (const name of ['unsaved', 'undo', 'values']) {
    camera.addEventListener(name, refreshSave);
}
camera.addEventListener('notice', (event) => {
    const { text, problem } = /** @type {CustomEvent} */ (event).detail;
    notify(text ?? problemText(problem), problem !== undefined);
});
addEventListener('hashchange', () => {
    if (isBuilt) {
        void showPage();
    }
});
addEventListener('keydown', (event) => {
    const isText =
        event.target instanceof HTMLElement &&
        event.target.matches('input:not([type=range], [type=checkbox], [type=radio]), textarea');
    if ((event.ctrlKey || event.metaKey) && event.key.toLowerCase() === 'z' && !isText) {
        event.preventDefault();
        if (event.shiftKey) {
            camera.redo();
        } else {
            camera.undo();
        }
    }
});

useTheme(theme());
void camera.connect();
