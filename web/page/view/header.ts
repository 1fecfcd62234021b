import type { Condition } from '../model/words.js';
import { button, element, option, setAttribute, setText } from './dom.js';
import { Figures } from './figures.js';

/** What the header asks the page to do. */
export interface Actions {
  filter(text: string): void;
  rate(updates: number): void;
  pause(): void;
  resetHolds(): void;
  acknowledgeClips(): void;
  chooseStrips(): void;
}

const rates: readonly [string, string][] = [
  ['0', 'as it comes'],
  ['60', '60/s'],
  ['25', '25/s'],
  ['10', '10/s'],
  ['5', '5/s'],
  ['1', '1/s'],
];

/** Where the page is, how its picture is, and what can be done with it. */
export class Header {
  readonly element = element('header', { class: 'top' });
  readonly figures = new Figures();
  readonly notice = element('p', { class: 'notice', hidden: true });
  readonly filter = element('input', {
    type: 'search',
    placeholder: 'Filter',
    'aria-label': 'Filter',
    autocomplete: 'off',
  });
  private readonly title = element('h1');
  private readonly badge = element('span', { class: 'badge' });
  private readonly status = element('p', { class: 'unseen', role: 'status' });
  private readonly rateSelect = element('select', { 'aria-label': 'Updates a second' });
  private readonly pauseButton: HTMLButtonElement;
  private readonly metersOnly: HTMLElement[];
  private announced = '';

  constructor(
    actions: Actions,
    private readonly brand: HTMLAnchorElement,
    menu: HTMLElement,
  ) {
    this.rateSelect.append(...rates.map(([value, text]) => option(value, text)));
    this.rateSelect.addEventListener('change', () => actions.rate(Number(this.rateSelect.value)));
    this.filter.addEventListener('input', () => actions.filter(this.filter.value));
    this.pauseButton = button('Pause', { 'aria-pressed': 'false', 'aria-keyshortcuts': 'Space' }, () =>
      actions.pause(),
    );
    const reset = button('Reset peaks', { 'aria-keyshortcuts': 'r' }, () => actions.resetHolds());
    const clips = button('Clear clips', { 'aria-keyshortcuts': 'c' }, () => actions.acknowledgeClips());
    const wall = button('Wall…', { 'aria-haspopup': 'dialog' }, () => actions.chooseStrips());
    this.metersOnly = [this.rateSelect, this.pauseButton, reset, clips];
    const where = element('div', { class: 'where' }, brand, this.title, this.badge);
    const tools = element('div', { class: 'tools' }, this.filter, ...this.metersOnly, wall, menu);
    this.element.append(where, this.figures.element, tools, this.notice, this.status);
  }

  show(title: string, home: string, filter: string, rate: number, hasMeters: boolean): void {
    setText(this.title, title);
    setAttribute(this.brand, 'href', home);
    document.title = `${title} · corvalux`;
    if (this.filter.value !== filter) this.filter.value = filter;
    if (![...this.rateSelect.options].some(({ value }) => Number(value) === rate)) {
      this.rateSelect.append(option(String(rate), `${rate}/s`));
    }
    this.rateSelect.value = String(rate);
    for (const tool of this.metersOnly) tool.hidden = !hasMeters;
  }

  tick({ state, word, sentence }: Condition, title: string, paused: boolean): void {
    setText(this.badge, word);
    setAttribute(this.badge, 'data-state', state);
    setAttribute(document.documentElement, 'data-state', state);
    setAttribute(this.pauseButton, 'aria-pressed', String(paused));
    setText(this.pauseButton, paused ? 'Go on' : 'Pause');
    this.notice.hidden = sentence === '';
    setText(this.notice, sentence);
    this.announce(`${title}: ${state}`, sentence);
  }

  /** Only another state is worth a word, not each second that passes. */
  private announce(state: string, sentence: string): void {
    if (state === this.announced) return;
    this.announced = state;
    setText(this.status, sentence ? `${state}. ${sentence}` : state);
  }
}
