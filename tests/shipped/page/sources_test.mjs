// The page's sources in the hands of a type checker and a linter.
import assert from 'node:assert';
import { spawnSync } from 'node:child_process';
import path from 'node:path';
import test from 'node:test';
import { fileURLToPath } from 'node:url';

const modules = path.resolve(process.argv[3]);
const here = path.dirname(fileURLToPath(import.meta.url));
const source = path.resolve(here, '../../../app/web/page');

/** Its output belongs to the failure. */
function run(program, ...options) {
    const ended = spawnSync(path.join(modules, '.bin', program), options, {
        cwd: source,
        encoding: 'utf8',
        env: { ...process.env, SENSORDLL_NPM: modules },
    });
    assert.strictEqual(ended.status, 0, ended.stdout + ended.stderr);
}

test('every type fits', () => run('tsc', '--project', path.join(here, 'tsconfig.json')));

test('the linter finds nothing', () =>
    run('eslint', '--config', path.join(here, 'eslint.config.mjs'), '--max-warnings', '0', '.'));

test('all of it is in the same form', () =>
    run(
        'prettier',
        '--config',
        path.join(here, 'prettier.json'),
        '--check',
        '**/*.js',
        '*.css',
        path.join(here, '*.mjs'),
    ));
