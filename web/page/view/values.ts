import { passes } from '../model/key.js';
import type { Source } from '../model/source.js';
import type { Strip } from '../model/strips.js';
import { describe } from '../model/text.js';
import { element, setText } from './dom.js';

interface Item {
  set: 0 | 1;
  place: number;
  text: HTMLElement;
}

/** All values that are not on the bridge, as text. */
export class Values {
  readonly element = element('section', { class: 'values panel', 'aria-labelledby': 'values-title' });
  filter = '';
  private readonly list = element('dl');
  private items: Item[] = [];
  private version = '';

  constructor(private readonly source: Source) {
    const title = element('h2', { id: 'values-title' }, 'Values');
    this.element.append(
      title,
      element('div', { class: 'scroll', tabindex: '0', role: 'group', 'aria-label': 'Values' }, this.list),
    );
  }

  tick(): void {
    const version = `${this.source.fast.layout}.${this.source.slow.layout}|${this.filter}`;
    if (version !== this.version) this.arrange();
    this.version = version;
    for (const { set, place, text } of this.items) setText(text, describe(this.source.sets[set].meters.value(place)));
  }

  private arrange(): void {
    this.items = [];
    const rows: HTMLElement[] = [];
    for (const set of [0, 1] as const) {
      for (const strip of this.source.sets[set].others) rows.push(...this.rowsOf(strip, set));
    }
    this.list.replaceChildren(...rows);
    this.element.hidden = rows.length === 0;
  }

  private rowsOf(strip: Strip, set: 0 | 1): HTMLElement[] {
    const before = strip.prefix ? `${strip.prefix}/` : '';
    const { keys } = this.source.sets[set].meters;
    const places = [strip.clips, strip.spectrum, ...strip.others.map(({ place }) => place)].filter(
      (place) => place >= 0,
    );
    return places
      .filter((place) => this.isWanted(keys[place].slice(before.length), keys[place]))
      .map((place) => {
        const text = element('dd');
        this.items.push({ set, place, text });
        return element('div', {}, element('dt', {}, keys[place]), text);
      });
  }

  /** Names are the labels of strips. */
  private isWanted(name: string, key: string): boolean {
    return name !== 'name' && name !== 'counter' && passes(key, this.filter);
  }
}
