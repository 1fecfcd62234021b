import type { StripRow } from '../draw/item.js';
import type { Bridge } from './bridge.js';
import { element, setAttribute, setText } from './dom.js';
import { levelText } from '../model/text.js';
import { warmDb, hotDb } from '../model/scale.js';

interface Line {
  row: StripRow;
  name: HTMLElement;
  meter: HTMLMeterElement;
  level: HTMLElement;
  held: HTMLElement;
  clips: HTMLElement;
}

const lowest = -70;

function meterOf(label: string): HTMLMeterElement {
  const range = { min: String(lowest), max: '0', low: String(warmDb), high: String(hotDb), optimum: String(lowest) };
  return element('meter', { 'aria-label': label, value: String(lowest), ...range });
}

/** The same strips as a table of native meters, for screen readers; each is written at most once a second. */
export class Table {
  readonly element = element('div', { class: 'meters-table' });
  private readonly body = element('tbody');
  private lines: Line[] = [];
  private rows: unknown;
  private turn = 0;

  constructor(private readonly bridge: Bridge) {
    const heads = ['Strip', 'Level', 'dB', 'Held, dB', 'Clips'].map((text) => element('th', { scope: 'col' }, text));
    const head = element('thead', {}, element('tr', {}, ...heads));
    this.element.append(element('table', {}, element('caption', {}, 'Meters'), head, this.body));
  }

  /** Four times a second: a quarter of the lines each time. */
  tick(): void {
    if (this.rows !== this.bridge.rows) this.arrange();
    this.turn = (this.turn + 1) % 4;
    for (let i = this.turn; i < this.lines.length; i += 4) this.write(this.lines[i]);
  }

  private arrange(): void {
    this.rows = this.bridge.rows;
    const strips = this.bridge.rows.filter((row): row is StripRow => row.kind === 'strip');
    this.lines = strips.map((row) => {
      const { prefix } = row.source.sets[row.set].strips[row.index];
      const name = element('th', { scope: 'row', 'data-strip': `${row.source.device}:${prefix}` });
      const line = {
        row,
        name,
        meter: meterOf(prefix),
        level: element('td'),
        held: element('td'),
        clips: element('td'),
      };
      this.write(line);
      return line;
    });
    const cells = this.lines.map(({ name, meter, level, held, clips }) => [
      name,
      element('td', {}, meter),
      level,
      held,
      clips,
    ]);
    this.body.replaceChildren(...cells.map((each) => element('tr', {}, ...each)));
  }

  private write({ row, name, meter, level, held, clips }: Line): void {
    const strips = row.source.sets[row.set];
    const db = strips.peak[row.index];
    const value = Math.max(lowest, Math.min(0, db));
    const label = this.bridge.labelOf(row);
    setText(name, label);
    setAttribute(meter, 'aria-label', label);
    if (meter.value !== value) meter.value = value;
    setText(level, levelText(db));
    setText(held, levelText(strips.holds.levels[row.index]));
    setText(clips, String(strips.lit[row.index]));
  }
}
