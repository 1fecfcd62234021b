import type { StripRow } from '../draw/item.js';
import type { Bridge } from './bridge.js';
import { element, setAttribute, setText } from './dom.js';
import { levelText } from '../model/text.js';
import { warmDb, hotDb } from '../model/scale.js';

interface Line {
  row: StripRow;
  name: HTMLElement;
  meter: HTMLMeterElement;
  level: Cell;
  held: Cell;
  clips: Cell;
  /** What is written: to ask the document for it costs more. */
  value: number;
  namesVersion: number;
}

/** A cell that is written only when it changes. */
class Cell {
  readonly element = element('td');
  private text = '';

  set(text: string): void {
    if (text === this.text) return;
    this.text = text;
    setText(this.element, text);
  }
}

const lowest = -70;
/** In how many turns all lines are written. */
const turns = 16;

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

  /** Sixteen times a second: a sixteenth of the lines, so that no frame waits for all of them. */
  tick(): void {
    if (this.rows !== this.bridge.rows) this.arrange();
    this.turn = (this.turn + 1) % turns;
    for (let i = this.turn; i < this.lines.length; i += turns) this.write(this.lines[i]);
  }

  private arrange(): void {
    this.rows = this.bridge.rows;
    const strips = this.bridge.rows.filter((row): row is StripRow => row.kind === 'strip');
    this.lines = strips.map((row) => this.lineOf(row));
    this.body.replaceChildren(
      ...this.lines.map(({ name, meter, level, held, clips }) =>
        element('tr', {}, name, element('td', {}, meter), level.element, held.element, clips.element),
      ),
    );
  }

  private lineOf(row: StripRow): Line {
    const { prefix } = row.source.sets[row.set].strips[row.index];
    const name = element('th', { scope: 'row', 'data-strip': `${row.source.device}:${prefix}` });
    const cells = { level: new Cell(), held: new Cell(), clips: new Cell() };
    const line = { row, name, meter: meterOf(prefix), ...cells, value: lowest, namesVersion: -1 };
    this.write(line);
    return line;
  }

  private write(line: Line): void {
    const { index } = line.row;
    const set = line.row.source.sets[line.row.set];
    if (line.namesVersion !== this.bridge.namesVersion) this.writeName(line);
    const value = Math.max(lowest, Math.min(0, set.peak[index]));
    if (line.value !== value) line.meter.value = value;
    line.value = value;
    line.level.set(levelText(set.peak[index]));
    line.held.set(levelText(set.holds.levels[index]));
    line.clips.set(String(set.lit[index]));
  }

  private writeName(line: Line): void {
    line.namesVersion = this.bridge.namesVersion;
    const label = this.bridge.labelOf(line.row);
    setText(line.name, label);
    setAttribute(line.meter, 'aria-label', label);
  }
}
