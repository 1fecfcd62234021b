import { button, element } from './dom.js';

const keys: readonly [string, string][] = [
  ['Space, p', 'pause and go on'],
  ['/', 'filter strips and keys'],
  ['Esc', 'show all again'],
  ['r', 'reset held peaks'],
  ['c', 'clear clips; a tap on a strip clears its own'],
  ['f', 'full screen'],
  ['d', 'all devices'],
  ['?', 'this help'],
];

const signs: readonly [string, string][] = [
  ['age', 'of the newest values, from the gateway on'],
  ['merged', 'how many updates became one, because the line or the rate asked for it'],
  ['delay', 'from the gateway to the screen, the longest of the last second'],
  ['grey', 'not live: the last values there were'],
];

const rowsOf = (rows: readonly [string, string][]) =>
  rows.map(([name, text]) => element('div', {}, element('dt', {}, name), element('dd', {}, text)));

export function helpDialog(): HTMLDialogElement {
  const dialog = element('dialog', { class: 'help', 'aria-labelledby': 'help-title' });
  const close = button('Close', { class: 'primary' }, () => dialog.close());
  dialog.append(
    element('h2', { id: 'help-title' }, 'Keys and signs'),
    element('dl', {}, ...rowsOf(keys)),
    element('dl', {}, ...rowsOf(signs)),
    element('p', {}, 'A bar is solid up to the RMS and lighter up to the peak; the mark is the held peak.'),
    close,
  );
  return dialog;
}
