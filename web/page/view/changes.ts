import { passes } from '../model/key.js';
import type { ChangeLine, Source } from '../model/source.js';
import { clockText, describe } from '../model/text.js';
import { element } from './dom.js';

const shown = 200;

function rowOf({ at, key, before, value }: ChangeLine): HTMLElement {
  const old = before === undefined ? [] : [element('s', {}, describe(before)), ' → '];
  const time = element('time', { datetime: new Date(at).toISOString() }, clockText(at));
  return element(
    'li',
    {},
    time,
    element('span', { class: 'key' }, key),
    element('span', {}, ...old, element('b', {}, describe(value))),
  );
}

/** The newest changes first, with the value before. */
export class Changes {
  readonly element = element('section', { class: 'changes panel', 'aria-labelledby': 'changes-title' });
  filter = '';
  private readonly list = element('ol');
  private written = 0;
  private filterWritten = '';

  constructor(private readonly source: Source) {
    const title = element('h2', { id: 'changes-title' }, 'Changes');
    const scroll = element(
      'div',
      { class: 'scroll', tabindex: '0', role: 'group', 'aria-label': 'Changes' },
      this.list,
    );
    this.element.append(title, scroll);
  }

  tick(): void {
    const { changes, changed } = this.source;
    const all = this.filter !== this.filterWritten;
    if (changed === this.written && !all) return;
    const fresh = all ? changes : changes.slice(0, changed - this.written);
    const rows = fresh
      .filter(({ key }) => passes(key, this.filter))
      .slice(0, shown)
      .map(rowOf);
    if (all) this.list.replaceChildren(...rows);
    else this.list.prepend(...rows);
    while (this.list.childElementCount > shown) this.list.lastElementChild?.remove();
    this.written = changed;
    this.filterWritten = this.filter;
  }
}
