// Goes through all paths of a camera with the client that was generated from its description, and ends with 1 and the
// reason when one of them does not do what it says. Compiling this already shows that the description's types fit.
// node walk.js http://localhost:PORT
import * as camera from './generated/sdk.gen';
import { client } from './generated/client.gen';
import type { Event, Problem, TraceData } from './generated/types.gen';

declare const process: { argv: string[]; exit(status: number): never };

const throwOnError = true as const;
const walked = new Set<string>();

client.setConfig({ baseUrl: process.argv[2] });
client.interceptors.request.use((request, options) => {
  walked.add(`${request.method} ${options.url}`);
  return request;
});

function expect(what: string, holds: boolean): void {
  if (!holds) {
    throw new Error(`does not hold: ${what}`);
  }
}

function expectEqual<T>(what: string, found: T, wanted: T): void {
  expect(`${what} is ${JSON.stringify(found)}, not ${JSON.stringify(wanted)}`, found === wanted);
}

function expectRefusal(result: { error?: Problem; response: Response }, status: number, code: string): Problem {
  const problem = result.error;
  expectEqual('the status', result.response.status, status);
  if (problem === undefined) {
    throw new Error(`no problem, where ${code} was expected`);
  }
  expectEqual('the code', problem.code, code);
  expectEqual('the status in the body', problem.status, status);
  return problem;
}

async function documents(): Promise<void> {
  expect('the style is XML', (await camera.getStyle({ throwOnError })).data.startsWith('<'));
  const languages = (await camera.getLanguages({ throwOnError })).data.languages ?? [];
  expect('there are languages', languages.length > 0);
  const path = { language: languages[0].id };
  expect('texts are XML', (await camera.getLanguageLanguage({ path, throwOnError })).data.startsWith('<'));
  expect('common texts are XML', (await camera.getCommonLanguage({ path, throwOnError })).data.startsWith('<'));
  expectRefusal(await camera.getLanguageLanguage({ path: { language: 77 } }), 404, 'not-found');
}

async function parameters(): Promise<void> {
  const path = { key: 'brightness' };
  const all = (await camera.getParameters({ throwOnError })).data.keys;
  const brightness = all.find((row) => row.name === 'KEY_BRIGHTNESS');
  expectEqual('the unit of brightness', brightness?.allowed?.unit, '%');

  const body = { brightness: 60, mirror: 'Both' };
  const dry = (await camera.patchParameters({ body, query: { 'dry-run': true }, throwOnError })).data;
  expectEqual('what would happen', dry.values[0].outcome, 'applied');
  expectEqual('brightness', (await camera.getParametersKey({ path, throwOnError })).data.value, 50);
  const set = (await camera.patchParameters({ body, throwOnError })).data;
  expectEqual('the second value', set.values[1].value, 3);
  expectEqual('brightness', (await camera.getParametersKey({ path, throwOnError })).data.value, 60);

  const refused = expectRefusal(await camera.patchParameters({ body: { contrast: 300 } }), 422, 'refused-value');
  expectEqual('what is allowed', refused.allowed?.maximum, 100);

  expectEqual('restored', (await camera.postParametersKeyRestore({ path, throwOnError })).data.value, 60);
  const factory = (await camera.postParametersKeyDefault({ path, throwOnError })).data;
  expectEqual('the factory value', factory.values[0].value, 50);
}

async function trials(): Promise<void> {
  const begin = async (sharpness: number) => {
    const begun = await camera.patchParameters({ body: { sharpness }, query: { keep: false }, throwOnError });
    return { trial: begun.data.trial?.trial ?? 0 };
  };
  const sharpness = async () => (await camera.getParametersKey({ path: { key: 'sharpness' }, throwOnError })).data;

  const path = await begin(30);
  expectEqual('the sensor', (await sharpness()).onSensor, 30);
  expectEqual('the scheme', (await sharpness()).value, 50);
  const query = { keep: false, trial: path.trial };
  await camera.patchParameters({ body: { sharpness: 31 }, query, throwOnError });
  expectEqual('the trial', (await camera.getTrials({ throwOnError })).data.trials[0].values?.[0].value, 31);
  expectEqual('its seconds', (await camera.putTrialsTrial({ path, throwOnError })).data.seconds, 15);
  expectRefusal(await camera.patchParameters({ body: { sharpness: 32 }, query: { keep: false } }), 409, 'on-trial');
  expectEqual('trials', (await camera.deleteTrialsTrial({ path, throwOnError })).data.trials.length, 0);
  expectEqual('the sensor', (await sharpness()).onSensor, 50);
  expectRefusal(await camera.putTrialsTrial({ path }), 404, 'no-trial');

  const kept = (await camera.postTrialsTrialKeep({ path: await begin(33), throwOnError })).data;
  expectEqual('what is kept', kept.values[0].value, 33);
  const unsaved = (await camera.getUnsaved({ throwOnError })).data.values;
  expectEqual('what is not saved', unsaved.find((row) => row.name === 'KEY_SHARPNESS')?.saved, 50);
  expect('pairs have it', (await camera.postPairs({ throwOnError })).data.pairs?.includes('(2321,33)') ?? false);
}

async function transfer(): Promise<void> {
  const body = (await camera.getExport({ throwOnError })).data;
  body.schemes[3].values = { KEY_CONTRAST: 33, KEY_NONSENSE: 1 };
  const dry = (await camera.postImport({ body, query: { 'dry-run': true }, throwOnError })).data;
  expectEqual('what would be skipped', dry.schemes[3].values[1].outcome, 'skipped');
  const path = { scheme: 3 };
  const contrast = async () => (await camera.getSchemesScheme({ path, throwOnError })).data.values
    .find((row) => row.name === 'KEY_CONTRAST')?.value;
  expectEqual('contrast', await contrast(), 50);
  expectEqual('the model', (await camera.postImport({ body, throwOnError })).data.sameModel, true);
  expectEqual('contrast', await contrast(), 33);
}

async function schemes(): Promise<void> {
  expectEqual('the mode', (await camera.putMode({ body: { mode: 'manual' }, throwOnError })).data.mode, 'manual');
  expectEqual('the mode', (await camera.getMode({ throwOnError })).data.mode, 'manual');
  await camera.putScheme({ body: { scheme: 1 }, throwOnError });
  expectEqual('the scheme', (await camera.getScheme({ throwOnError })).data.scheme, 1);
  expectRefusal(await camera.putScheme({ body: { scheme: 9 } }), 404, 'unknown-scheme');

  const path = { scheme: 2 };
  const stored = (await camera.putSchemesScheme({ path, body: { contrast: 40 }, throwOnError })).data;
  expectEqual('what became of it', stored.stored, 'done');
  const values = (await camera.getSchemesScheme({ path, throwOnError })).data.values;
  expectEqual('contrast', values.find((row) => row.name === 'KEY_CONTRAST')?.value, 40);

  const morning = { enabled: true, from: '06:00', to: '08:00' };
  await camera.putSchemesSchemeWindow({ path, body: morning, throwOnError });
  expectEqual('the window', (await camera.getSchemesSchemeWindow({ path, throwOnError })).data.to, '08:00');
  const late = { ...morning, from: '22:00' };
  expectEqual('the check', expectRefusal(await camera.putSchemesSchemeWindow({ path, body: late }), 422,
    'window-refused').check, 507);
  expectEqual('its beginning', (await camera.getSchemes({ throwOnError })).data.schemes[2].from, '06:00');
  expectEqual('only a part of it', (await camera.putSchemesSchemeWindow({ path, body: { to: '09:00' }, throwOnError }))
    .data.from, '06:00');
  const explained = (await camera.getExplain({ throwOnError })).data;
  expectEqual('why', explained.why, 'manual');
  expectEqual('what overlaps', explained.overlaps?.[0].schemes[1], 2);

  expectEqual('saved', (await camera.postSave({ throwOnError })).data.scheme, 1);
  expectEqual('reloaded', (await camera.postReload({ throwOnError })).data.reloaded, true);
}

async function lostEdits(): Promise<void> {
  const revision = (await camera.getParameters({ throwOnError })).response.headers.get('ETag') ?? '';
  const headers = { 'If-Match': revision };
  await camera.patchParameters({ body: { sharpness: 11 }, headers, throwOnError });
  expectRefusal(await camera.patchParameters({ body: { sharpness: 12 }, headers }), 412, 'changed-meanwhile');
}

async function lens(): Promise<void> {
  await camera.putLens({ body: { focusMode: 1 }, throwOnError });
  await camera.postLensStep({ path: { step: 'focus-near' }, throwOnError });
  expectEqual('the focus mode', (await camera.getLens({ throwOnError })).data.focusMode, 1);
}

async function surroundings(): Promise<void> {
  expectEqual('light', (await camera.putWorld({ body: { light: 42 }, throwOnError })).data.lux, 42);
  expectEqual('night', (await camera.getWorld({ throwOnError })).data.night, false);
  expectEqual('level', (await camera.putDiagnostics({ body: { level: 2 }, throwOnError })).data.level, 2);
  expectEqual('level', (await camera.getDiagnostics({ throwOnError })).data.level, 2);
  expectEqual('assertions', (await camera.putDiagnostics({ body: { assertions: false }, throwOnError })).data.assertions,
    false);
  const body = { faults: [{ key: 'contrast', count: 2 }] };
  expectEqual('faults', (await camera.putWorld({ body, throwOnError })).data.faults?.[0].count, 2);
  await camera.putWorld({ body: { faults: [] }, throwOnError });
  expect('the log has lines', Array.isArray((await camera.getLog({ throwOnError })).data.lines));
  expectEqual('printed', (await camera.getOutput({ query: { lines: 0 }, throwOnError })).data.lines?.length, 0);
  expectEqual('the speed', (await camera.putWorld({ body: { speed: 2 }, throwOnError })).data.speed, 2);
}

// The client leaves the generator when the loop ends, and with it the connection.
async function events(): Promise<void> {
  const revision = (await camera.getParameters({ throwOnError })).response.headers.get('ETag') ?? '';
  await camera.patchParameters({ body: { brightness: 77 }, throwOnError });
  const ending = new AbortController();
  const headers = { 'Last-Event-ID': revision.replace(/"/g, '') };
  const { stream } = await camera.getEvents({ headers, signal: ending.signal });
  for await (const data of stream) {
    const event = data as Event;
    expectEqual('the event', event.event, 'values');
    expectEqual('the value', event.values?.[0].value, 77);
    break;
  }
  ending.abort();
}

async function trace(): Promise<void> {
  await camera.putDiagnostics({ body: { level: 6 }, throwOnError });
  const ending = new AbortController();
  const { stream } = await camera.getTrace({ query: { filter: 'KEY_CONTRAST' }, signal: ending.signal });
  const first = stream.next();  // connects
  while (!walked.has('GET /api/trace')) {
    await new Promise((resume) => setTimeout(resume, 10));
  }
  const changing = setInterval(() => camera.postParametersKeyRestore({ path: { key: 'contrast' } }), 100);
  const line = (await first).value as TraceData;
  clearInterval(changing);
  expect('the line is of contrast', 'line' in line && line.line.includes('KEY_CONTRAST'));
  ending.abort();
  await camera.putDiagnostics({ body: { marker: false }, throwOnError });
}

// The simulator has none where its libraries were not found.
async function picture(): Promise<void> {
  const shot = await camera.getSnapshotJpg();
  if (shot.response.status === 200) {
    expectEqual('the type', shot.response.headers.get('Content-Type'), 'image/jpeg');
    expect('the frame has a number', Number(shot.response.headers.get('X-Frame-Number')) > 0);
  } else {
    expectRefusal(shot, 503, 'no-picture');
  }
  const ending = new AbortController();
  const stream = await camera.getStreamMjpg({ parseAs: 'stream', signal: ending.signal });
  if (stream.response.status !== 200) {
    expectRefusal(stream, 503, 'no-picture');
  }
  ending.abort();
}

// The simulator has no real one.
async function device(): Promise<void> {
  const path = { scheme: 1 };
  const body = { hue: 10 };
  expectRefusal(await camera.getDevice(), 404, 'not-on-device');
  expectRefusal(await camera.getControls(), 404, 'not-on-device');
  expectRefusal(await camera.patchControls({ body }), 404, 'not-on-device');
  expectRefusal(await camera.getSchemesSchemeControls({ path }), 404, 'not-on-device');
  expectRefusal(await camera.putSchemesSchemeControls({ path, body }), 404, 'not-on-device');
}

// Of a camera without users.
async function session(): Promise<void> {
  expectEqual('the role', (await camera.getSession({ throwOnError })).data.role, 'administrator');
  expectRefusal(await camera.postSession({ body: { name: 'anna', password: 'secret' } }), 409, 'no-users');
  expectEqual('the role', (await camera.deleteSession({ throwOnError })).data.role, 'none');
}

async function everythingIsWalked(): Promise<void> {
  const { paths } = (await camera.getOpenapiJson({ throwOnError })).data as { paths: Record<string, object> };
  const described = Object.entries(paths).flatMap(([path, operations]) =>
    Object.keys(operations).map((method) => `${method.toUpperCase()} ${path}`));
  const left = described.filter((operation) => !walked.has(operation));
  expect(`all operations were used; not used: ${left.join(', ')}`, left.length === 0);
}

async function walk(): Promise<void> {
  expectEqual('the model', (await camera.getStatus({ throwOnError })).data.model, 'fixed');
  await documents();
  await parameters();
  await trials();
  await schemes();
  await transfer();
  await lostEdits();
  await lens();
  await surroundings();
  await events();
  await trace();
  await picture();
  await device();
  await session();
  expectEqual('after a reset', (await camera.postReset({ throwOnError })).data.scheme, 0);
  await everythingIsWalked();
}

walk().then(() => process.exit(0), (error) => {
  console.error(error);
  process.exit(1);
});
