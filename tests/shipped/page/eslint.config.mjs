// The packages are where ./check puts them: SENSORDLL_NPM.
import { createRequire } from 'node:module';

const js = createRequire(`${process.env.SENSORDLL_NPM}/`)('@eslint/js');
const browser = [
    'window',
    'document',
    'location',
    'history',
    'navigator',
    'localStorage',
    'customElements',
    'HTMLElement',
    'HTMLInputElement',
    'Element',
    'SVGElement',
    'Node',
    'Event',
    'CustomEvent',
    'EventTarget',
    'KeyboardEvent',
    'PointerEvent',
    'EventSource',
    'fetch',
    'AbortController',
    'AbortSignal',
    'Blob',
    'URL',
    'DOMParser',
    'TextDecoder',
    'createImageBitmap',
    'performance',
    'setTimeout',
    'clearTimeout',
    'setInterval',
    'clearInterval',
    'requestAnimationFrame',
    'addEventListener',
    'innerHeight',
];

export default [
    js.configs.recommended,
    {
        languageOptions: { globals: Object.fromEntries(browser.map((name) => [name, 'readonly'])) },
        rules: {
            eqeqeq: 'error',
            'no-var': 'error',
            'prefer-const': 'error',
            'no-eval': 'error',
            'no-implied-eval': 'error',
            'no-shadow': 'error',
            'no-unused-vars': 'error',
            'no-param-reassign': 'error',
            'no-restricted-properties': [
                'error',
                ...['innerHTML', 'outerHTML', 'insertAdjacentHTML'].map((property) => ({
                    property,
                    message: 'text that comes from a camera is text',
                })),
            ],
        },
    },
];
