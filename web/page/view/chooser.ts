import type { Choice } from '../model/address.js';
import { button, element } from './dom.js';

interface Line {
  device: string;
  wanted: HTMLInputElement;
  strips: HTMLInputElement;
}

function lineOf(device: string, chosen: readonly Choice[]): Line {
  const strips = chosen.filter((choice) => choice.device === device).map((choice) => choice.strips);
  const wanted = element('input', { type: 'checkbox', checked: strips.length > 0 });
  const text = element('input', { type: 'text', 'aria-label': `Strips of ${device}`, value: strips.join(' ') || '**' });
  text.addEventListener('input', () => (wanted.checked = true));
  return { device, wanted, strips: text };
}

const choicesOf = ({ device, wanted, strips }: Line): Choice[] =>
  wanted.checked
    ? strips.value
        .split(/\s+/)
        .filter(Boolean)
        .map((pattern) => ({ device, strips: pattern }))
    : [];

/** Asks which strips of which devices to put on the wall. */
export class Chooser {
  readonly dialog = element('dialog', { class: 'chooser', 'aria-labelledby': 'chooser-title' });
  private readonly list = element('div', { class: 'choices' });
  private lines: Line[] = [];

  constructor(private readonly chosen: (wall: Choice[]) => void) {
    const show = button('Show', { class: 'primary' }, () => this.show());
    const cancel = button('Cancel', {}, () => this.dialog.close());
    this.dialog.append(
      element('h2', { id: 'chooser-title' }, 'Wall'),
      element(
        'p',
        {},
        'Strips of any devices on one screen. “input/*” are all inputs, “**” everything; several patterns with spaces between. The address is a link to what you see.',
      ),
      this.list,
      element('div', { class: 'buttons' }, show, cancel),
    );
    this.dialog.addEventListener('keydown', (event) => {
      if (event.key === 'Enter' && event.target instanceof HTMLInputElement) this.show();
    });
  }

  open(devices: readonly string[], wall: readonly Choice[]): void {
    const names = [...new Set([...wall.map(({ device }) => device), ...devices])];
    this.lines = names.map((device) => lineOf(device, wall));
    this.list.replaceChildren(
      ...this.lines.map(({ device, wanted, strips }) =>
        element('div', {}, element('label', {}, wanted, element('span', {}, device)), strips),
      ),
    );
    this.dialog.showModal();
  }

  private show(): void {
    this.dialog.close();
    this.chosen(this.lines.flatMap(choicesOf));
  }
}
