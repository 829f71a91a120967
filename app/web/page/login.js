// Logging in.
import { Problem } from './api.js';
import { camera } from './camera.js';
import { h, newId } from './dom.js';
import { t } from './texts.js';

export function loginForm() {
    const failure = h('p', { class: 'failure', role: 'alert' });
    const name = h('input', { id: newId(), autocomplete: 'username', autocapitalize: 'none', spellcheck: 'false' });
    const password = h('input', { id: newId(), type: 'password', autocomplete: 'current-password' });
    const button = h('button', { type: 'submit', class: 'primary' }, t('log_in'));
    return h(
        'form',
        {
            class: 'login card',
            onsubmit: async (/** @type {Event} */ event) => {
                event.preventDefault();
                button.disabled = true;
                failure.textContent = '';
                try {
                    await camera.login(name.value, password.value);
                } catch (error) {
                    failure.textContent =
                        error instanceof Problem && error.code === 'wrong-login'
                            ? t('wrong_login')
                            : error instanceof Problem && error.code === 'too-many-logins'
                              ? t('too_many_logins')
                              : t('message_failed');
                    password.value = '';
                    password.focus();
                }
                button.disabled = false;
            },
        },
        h('img', { src: '/icon.svg', alt: '', width: 48, height: 48 }),
        h('h1', {}, 'sensorcam'),
        h('label', { for: name.id }, t('user_name')),
        name,
        h('label', { for: password.id }, t('password')),
        password,
        failure,
        button,
    );
}
