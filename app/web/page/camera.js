// The camera as the page knows it: one state for all pages, kept true by the camera's events.
import { Problem, ask, get } from './api.js';
import { asKeys, controlName, isDeviceControl, loadControls, sendControls } from './device-controls.js';
import { InForce } from './in-force.js';
import { Sender } from './sender.js';
import { parametersIn, tabsIn } from './style-document.js';
import * as texts from './texts.js';
import { Trials } from './trials.js';
import { Undo } from './undo.js';

/**
 * @typedef {object} Allowed
 * @property {string} kind
 * @property {number} default
 * @property {number} [minimum]
 * @property {number} [maximum]
 * @property {number} [step]
 * @property {string} [unit]
 * @property {{value: number, label: string}[]} [choices]
 *
 * @typedef {object} KeyRow
 * @property {number} key
 * @property {string} name
 * @property {boolean} onlyStored
 * @property {boolean} inScheme
 * @property {number} [value]
 * @property {Allowed} [allowed]
 *
 * @typedef {object} Status
 * @property {string} model
 * @property {string} version
 * @property {number} module
 * @property {string} time
 * @property {number} [scheme]
 * @property {string} mode
 * @property {boolean} night
 * @property {number} [lux]
 * @property {number} defaultScheme
 * @property {number} speed
 * @property {number} [lamps]
 * @property {{name: string, there: boolean, otherControls: boolean, standings: {key?: number, control?: string, standing: string}[]}} [device]
 *
 * @typedef {{scheme: number, key: number, name: string, value: number, saved: number}} Unsaved
 * @typedef {'connecting' | 'open' | 'lost' | 'login'} Connection
 */

const kEvents = [
    ...['values', 'scheme', 'mode', 'night', 'saved', 'reset', 'trial', 'lens', 'world', 'log', 'state'],
    ...['controls', 'device', 'standings'], // of a real device
];
const kRetry = 1000; // milliseconds
const kLook = 1000; // time and light are no events
const kHold = 5000;

/**
 * Runs something once, a while after it was last asked for.
 * @param {() => void} run
 * @param {number} milliseconds
 */
function later(run, milliseconds) {
    let timer = 0;
    return () => {
        clearTimeout(timer);
        timer = window.setTimeout(run, milliseconds);
    };
}

class Camera extends EventTarget {
    /** @type {Connection} */
    connection = 'connecting';
    /** @type {{name?: string, role: string}} */
    session = { role: 'none' };
    /** @type {Status | null} */
    status = null;
    /** @type {Map<number, KeyRow>} */
    rows = new Map();
    /** @type {Unsaved[]} */
    unsaved = [];
    /** @type {import('./style-document.js').Tab[]} */
    tabs = [];
    trials = new Trials();
    /** @type {{time: Date, text: string, data: any}[]} */
    history = [];

    /** @type {EventSource | null} */
    #events = null;
    #attempt = 0;
    #sender = this.#makeSender((changes) => this.#patch(changes));
    #controlSender = this.#makeSender(sendControls);
    #inForce = new InForce((key) => this.#sender.has(key) || this.#controlSender.has(key));
    #undo = new Undo();
    /** How often the unsaved values were asked for. */
    #asked = 0;
    /** How often the limits were asked for, and which answer is the one in force. */
    #limits = { asked: 0, taken: 0 };
    #reloadUnsaved = later(() => void this.#quietly(() => this.loadUnsaved()), 150);
    #reloadLimits = later(() => void this.#quietly(() => this.#loadLimits()), 300);

    constructor() {
        super();
        setInterval(() => void this.#look(), kLook);
        setInterval(() => void this.#quietly(() => this.trials.hold()), kHold);
        document.addEventListener('visibilitychange', () => {
            if (this.connection === 'login') {
                return;
            }
            if (document.hidden) {
                this.#disconnect(); // a browser has few connections for one camera
                this.connection = 'connecting';
            } else {
                void this.connect();
            }
        });
    }

    /** What is in force: of the scheme, or tried out. */
    get values() {
        return this.#inForce.values;
    }

    /** @param {(changes: Map<number, number>) => Promise<{body: any, revision: string}>} send */
    #makeSender(send) {
        return new Sender(
            send,
            (answer, keys) => this.#settle(answer, keys),
            (error, changes) => this.#refused(error, changes),
        );
    }

    /** @param {string} name @param {any} [detail] */
    #tell(name, detail) {
        this.dispatchEvent(new CustomEvent(name, { detail }));
    }

    /** @param {Connection} connection */
    #setConnection(connection) {
        if (this.connection !== connection) {
            this.connection = connection;
            this.#tell('connection');
        }
    }

    /** What a page of its own reads beside: a failure shows as a lost connection, or as nothing new.
     * @param {() => Promise<void>} work */
    async #quietly(work) {
        try {
            await work();
        } catch (error) {
            this.noticeFailure(error);
        }
    }

    // ---- coming and going ------------------------------------------------------------------------------------------

    #disconnect() {
        this.#attempt++;
        this.#events?.close();
        this.#events = null;
    }

    /** @param {unknown} error */
    noticeFailure(error) {
        if (error instanceof Problem && error.code === 'no-session') {
            this.#disconnect();
            this.#setConnection('login');
        } else if (error instanceof Problem && error.status === 0) {
            this.lose();
        }
    }

    /** The camera does not answer: try again until it does. */
    lose() {
        if (this.connection === 'login' || document.hidden) {
            return;
        }
        this.#disconnect();
        this.#setConnection('lost');
        const attempt = this.#attempt;
        setTimeout(() => {
            if (attempt === this.#attempt) {
                void this.connect();
            }
        }, kRetry);
    }

    async connect() {
        this.#disconnect();
        const attempt = this.#attempt;
        try {
            this.session = await (await ask('GET', '/api/session', undefined, { seconds: 5 })).body;
        } catch (error) {
            if (error instanceof Problem && error.status === 401) {
                await texts.loadForStrangers().catch(() => {});
                this.#setConnection('login');
            } else {
                this.lose();
            }
            return;
        }
        if (attempt !== this.#attempt) {
            return;
        }
        const events = new EventSource('/api/events');
        this.#events = events;
        events.onerror = () => this.lose();
        // Everything is read behind the beginning of the events: nothing is missed between.
        events.onopen = () => void this.#loadAll(events);
        for (const name of kEvents) {
            events.addEventListener(name, (event) => this.#happened(name, JSON.parse(event.data), event.lastEventId));
        }
    }

    /** @param {EventSource} events */
    async #loadAll(events) {
        try {
            this.#sender.drop();
            this.#controlSender.drop();
            this.#inForce.forgetEvents();
            /** @type {Promise<Status>} */
            const asked = get('/api/status');
            const [status] = await Promise.all([asked, texts.load(), this.#loadLimits(asked), this.loadUnsaved()]);
            if (events === this.#events) {
                if (this.status?.scheme !== status.scheme) {
                    this.#undo.clear();
                }
                this.status = status;
                this.#setConnection('open');
                this.#tell('values', null);
                this.#tell('status');
                this.#tell('schemes');
            }
        } catch (error) {
            if (events === this.#events) {
                this.noticeFailure(error);
                if (this.connection !== 'login') {
                    this.lose();
                }
            }
        }
    }

    async #look() {
        if (this.connection !== 'open' || document.hidden) {
            return;
        }
        try {
            this.status = (await ask('GET', '/api/status', undefined, { seconds: 15 })).body;
            this.#tell('status');
        } catch (error) {
            this.noticeFailure(error);
        }
    }

    /** @param {Promise<Status | null>} status */
    async #loadLimits(status = Promise.resolve(this.status)) {
        const mine = ++this.#limits.asked;
        const { own } = this.trials;
        const [parameters, style, trials, controls] = await Promise.all([
            ask('GET', '/api/parameters'),
            get('/api/style'),
            get('/api/trials'),
            status.then((known) => loadControls(known?.device !== undefined)),
        ]);
        if (mine < this.#limits.taken) {
            return;
        }
        this.#limits.taken = mine;
        const tabs = [...tabsIn(style), ...controls.tabs];
        const shape = (/** @type {any} */ value) => JSON.stringify(value);
        const isOther = shape(tabs) !== shape(this.tabs);
        this.rows = new Map(parameters.body.keys.map((/** @type {KeyRow} */ row) => [row.key, row]));
        this.#inForce.read(parameters.body.keys, parameters.revision);
        this.#inForce.read(controls.rows, controls.revision);
        this.trials.forgetOthers();
        for (const trial of trials.trials) {
            this.#takeTrial(trial);
        }
        if (own && !trials.trials.some((/** @type {any} */ { trial }) => trial === own.id)) {
            this.#lapsed(own.id);
        }
        if (isOther) {
            this.tabs = tabs;
            this.#tell('style');
        }
        this.#tell('values', null);
    }

    async loadUnsaved() {
        const mine = ++this.#asked;
        const { values, controls = [] } = await get('/api/unsaved');
        if (mine === this.#asked) {
            this.unsaved = [...values, ...asKeys(controls)];
            this.#tell('unsaved');
        }
    }

    /** @param {string} name @param {string} password */
    async login(name, password) {
        await ask('POST', '/api/session', { name, password });
        this.connection = 'connecting';
        await this.connect();
    }

    async logout() {
        await ask('DELETE', '/api/session');
        await this.connect();
    }

    /** @param {'viewer' | 'operator' | 'administrator'} role */
    may(role) {
        const order = ['none', 'viewer', 'operator', 'administrator'];
        return order.indexOf(this.session.role) >= order.indexOf(role);
    }

    // ---- what happens ----------------------------------------------------------------------------------------------

    /** @param {string} name @param {any} told @param {string} id of the event */
    #happened(name, told, id) {
        const data = told.controls ? { ...told, values: asKeys(told.controls) } : told;
        this.history = [{ time: new Date(), text: name, data }, ...this.history].slice(0, 200);
        switch (name) {
            case 'values':
                this.#changed(this.#inForce.told(data.values, id));
                break;
            case 'controls':
                if (data.scheme === this.status?.scheme) {
                    this.#changed(this.#inForce.told(data.values, id));
                }
                break;
            case 'device':
            case 'standings':
                void this.#look();
                break;
            case 'trial':
                this.#trialHappened(data);
                break;
            case 'log':
                this.#tell('log', data.line);
                break;
            case 'lens':
                this.#changed(this.#inForce.told(data.values, id));
                this.#tell('lens', data);
                break;
            case 'world':
                this.#tell('world');
                break;
            case 'saved':
                break;
            default: // other values are in force
                this.#undo.clear();
                this.#reloadLimits();
                void this.#look();
        }
        if (!['lens', 'log', 'world', 'device', 'standings'].includes(name)) {
            this.#reloadUnsaved();
            this.#tell('schemes');
        }
        this.#tell('happened');
    }

    /** @param {Set<number>} keys */
    #changed(keys) {
        if (keys.size > 0) {
            this.#tell('values', keys);
            // What a choice decides, such as the frame rate, may decide what others allow.
            if ([...keys].some((key) => this.rows.get(key)?.allowed?.kind === 'choice')) {
                this.#reloadLimits();
            }
        }
    }

    /** @param {{trial: number, values: {key: number, value: number}[]}} trial */
    #takeTrial(trial) {
        this.#inForce.tried(trial.values);
        this.trials.heardOf(trial);
    }

    /** @param {any} data */
    #trialHappened(data) {
        if (data.state === 'begun') {
            this.#takeTrial({ trial: data.trial, values: data.values ?? [] });
            this.#tell('values', null);
            this.#tell('trial');
        } else {
            if (data.state === 'kept' || data.state === 'undone') {
                this.trials.ended(data.trial);
                this.#tell('trial');
            } else {
                this.#lapsed(data.trial);
            }
            this.#reloadLimits();
        }
    }

    /** @param {number} trial that nobody here has ended */
    #lapsed(trial) {
        if (this.trials.ended(trial)) {
            this.#tell('notice', { text: texts.t('trial_ended') });
        }
        this.#tell('trial');
    }

    // ---- changes ---------------------------------------------------------------------------------------------------

    /**
     * Shows the values at once, and sends them soon: at most ten times a second, the last ones always.
     * @param {Map<number, number>} values of keys, or of the device's own controls
     * @param {boolean} [canBeUndone]
     */
    change(values, canBeUndone = true) {
        const steps = [];
        for (const [key, value] of values) {
            steps.push({ key, before: this.values.get(key) ?? value, after: value });
            this.values.set(key, value);
        }
        const areControls = [...values.keys()].some(isDeviceControl);
        (areControls ? this.#controlSender : this.#sender).put(values);
        if (canBeUndone && (areControls || !this.trials.isOn)) {
            this.#undo.remember(steps);
            this.#tell('undo');
        }
        if (areControls && this.trials.isOn) {
            this.#tell('notice', { text: texts.t('control_not_tried') });
        }
        this.#tell('values', new Set(values.keys()));
    }

    /** @param {Map<number, number>} changes */
    #patch(changes) {
        // By name: an object puts numbers in order, and the camera takes the values in the order given.
        const named = [...changes].map(([key, value]) => [this.rows.get(key)?.name ?? key, value]);
        return ask('PATCH', `/api/parameters${this.trials.query}`, Object.fromEntries(named));
    }

    /** @param {import('./api.js').Answer} answer @param {number[]} keys */
    #settle({ body, revision }, keys) {
        for (const { key, asked, value } of body.values) {
            if (value !== undefined) {
                this.#undo.correct({ key, asked, value });
            }
        }
        this.#inForce.answered(keys, body.values, revision);
        this.#changed(new Set([...keys, ...body.values.map((/** @type {any} */ { key }) => key)]));
        this.#changed(this.#inForce.catchUp());
        if (body.values.some((/** @type {any} */ value) => ['corrected', 'heldBack'].includes(value.outcome))) {
            this.#tell('notice', { text: texts.t('value_corrected') });
        }
        if (this.trials.isOn && body.trial) {
            this.trials.took(body.trial);
            this.#tell('trial');
        }
    }

    /** @param {unknown} error @param {Map<number, number>} changes */
    #refused(error, changes) {
        this.noticeFailure(error);
        this.#changed(this.#inForce.catchUp());
        if (error instanceof Problem && error.status !== 0) {
            if (error.code === 'no-trial') {
                this.trials.own = null;
                this.#tell('trial');
            }
            this.#undo.forget(changes);
            this.#tell('undo');
            this.#tell('notice', { problem: error });
            this.#reloadLimits();
        }
    }

    /** Settles when every change is answered. */
    idle() {
        return Promise.all([this.#sender.idle(), this.#controlSender.idle()]);
    }

    /**
     * A press: acts, and is not remembered.
     * @param {number} key
     * @param {number} value
     */
    async press(key, value) {
        await (isDeviceControl(key)
            ? sendControls(new Map([[key, value]]))
            : ask('PATCH', '/api/parameters?keep=false', { [key]: value }));
    }

    /** What the scheme holds of it goes to the sensor once more. @param {number} key */
    async sendAgain(key) {
        await (isDeviceControl(key)
            ? sendControls(new Map([[key, this.values.get(key) ?? 0]]))
            : ask('POST', `/api/parameters/${key}/restore`));
    }

    // ---- undo ------------------------------------------------------------------------------------------------------

    get canUndo() {
        return this.#undo.canUndo;
    }

    get canRedo() {
        return this.#undo.canRedo;
    }

    undo() {
        this.#step(this.#undo.back(), 'after', 'before');
    }

    redo() {
        this.#step(this.#undo.forward(), 'before', 'after');
    }

    /**
     * But for what somebody else has changed since.
     * @param {import('./undo.js').Step[]} steps
     * @param {'before' | 'after'} from
     * @param {'before' | 'after'} to
     */
    #step(steps, from, to) {
        const mine = steps.filter((step) => this.values.get(step.key) === step[from]);
        if (mine.length > 0) {
            this.change(new Map(mine.map((step) => [step.key, step[to]])), false);
        }
        if (mine.length < steps.length) {
            this.#tell('notice', { text: texts.t('undo_overtaken') });
        }
        this.#tell('undo');
    }

    // ---- trials ----------------------------------------------------------------------------------------------------

    /** From now on changes are tried out. */
    beginTrying() {
        this.trials.isOn = true;
        this.#tell('trial');
    }

    /** @param {boolean} keeps */
    async endTrying(keeps) {
        await this.idle();
        const ended = this.trials.end(keeps);
        this.#tell('trial');
        await ended;
        this.#reloadLimits();
        this.#reloadUnsaved();
    }

    // ---- the style document ----------------------------------------------------------------------------------------

    /** @param {import('./style-document.js').Control} control */
    isShown(control) {
        return control.when.every(({ key, values }) => values.includes(this.values.get(key) ?? NaN));
    }

    /** The switch that keeps this one from being on; null: none.
     * @param {import('./style-document.js').Control} control */
    excludedBy(control) {
        const isOn = (this.values.get(control.excludes) ?? 0) !== 0;
        const other = parametersIn(this.tabs).find((parameter) => parameter.control.key === control.excludes);
        return isOn && other ? other.control : null;
    }

    /** How it stands with a real device; '' when it is applied. @param {number} key */
    standingOf(key) {
        const control = controlName(key);
        const isIt = (/** @type {{key?: number, control?: string}} */ row) =>
            control ? row.control === control : row.key === key;
        return this.status?.device?.standings.find(isIt)?.standing ?? '';
    }

    /** @param {number} key */
    isUnsaved(key) {
        return this.unsaved.some((row) => row.key === key && row.scheme === this.status?.scheme);
    }
}

export const camera = new Camera();
