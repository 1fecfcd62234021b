import { type StripRow, Sheet } from '../draw/item.js';
import { columnsOf, visibleRows } from '../draw/flow.js';
import { layoutOf, partsOf, type Layout } from '../draw/layout.js';
import type { Palette } from '../draw/palette.js';
import { Picture } from '../draw/picture.js';
import { Surface } from '../draw/surface.js';
import type { HoldMode } from '../model/hold.js';
import { rowsOf, versionOf, type Row } from '../model/rows.js';
import type { Source } from '../model/source.js';
import { element, setText } from './dom.js';

/** Strips on a canvas, as high as the room allows; with more of them it is scrolled. */
export class Bridge {
  readonly element = element('section', { class: 'bridge', 'aria-label': 'Meters' });
  rows: readonly Row[] = [];
  filter = '';
  /** Another one when labels have changed. */
  namesVersion = 0;
  private readonly room = element('div', { class: 'room' });
  private readonly empty = element('p', { class: 'empty', hidden: true });
  private readonly surface = new Surface();
  private picture: Picture | undefined;
  private readonly observer = new ResizeObserver(() => this.again());
  private layout: Layout = layoutOf(0, 1, 1);
  private version = '';
  private stale = true;
  private isStill = false;

  constructor(
    private readonly sources: readonly Source[],
    private readonly changed: () => void,
  ) {
    this.room.append(this.surface.canvas);
    this.element.append(this.empty, this.room);
    this.observer.observe(this.element);
    this.element.addEventListener('scroll', this.again, { passive: true });
    addEventListener('scroll', this.again, { passive: true });
    this.surface.canvas.addEventListener('click', (event) => this.click(event));
  }

  /** Everything is drawn with the next picture. */
  readonly again = () => {
    this.stale = true;
    this.changed();
  };

  /** Still: a picture that is drawn stays as it is. */
  draw(palette: Palette, still: boolean, isLive: (source: Source) => boolean): void {
    const version = versionOf(this.sources, this.filter);
    if (version !== this.version) this.arrange(version);
    if (still && this.isStill && !this.stale) return;
    this.isStill = still;
    if (this.stale) this.place(palette);
    const live = new Set(this.sources.filter(isLive));
    this.picture?.draw((row) => live.has(row.source));
  }

  /** Names that have come since the labels were written. */
  tick(): void {
    const names = this.sources.reduce((sum, { namesVersion }) => sum + namesVersion, 0);
    if (names === this.namesVersion) return;
    this.namesVersion = names;
    if (this.filter) this.version = '';
    this.again();
  }

  /** Lets held peaks fall; true while any will. */
  step(now: number, mode: HoldMode): boolean {
    let falling = false;
    for (const source of this.sources) {
      for (const set of source.sets) {
        set.step(now, mode);
        falling ||= mode === 'fall' && set.isFalling();
      }
    }
    return falling;
  }

  labelOf(row: StripRow): string {
    return row.source.labelOf(row.source.sets[row.set].strips[row.index].prefix);
  }

  close(): void {
    this.observer.disconnect();
    removeEventListener('scroll', this.again);
  }

  private arrange(version: string): void {
    this.version = version;
    this.rows = rowsOf(this.sources, this.filter);
    this.stale = true;
    const none = this.rows.length === 0;
    this.empty.hidden = !none;
    this.room.hidden = none;
    setText(this.empty, this.filter ? `No strip contains “${this.filter}”` : 'No levels yet');
  }

  private width(): number {
    return this.room.clientWidth;
  }

  /** The section has a height of its own where it scrolls; on a narrow screen the page does. */
  private ownHeight(): number {
    const scrolls = getComputedStyle(this.element).overflowY === 'auto';
    return scrolls ? this.element.clientHeight : 0;
  }

  private windowHeight(): number {
    return Math.max(1, Math.min(this.layout.height, this.ownHeight() || innerHeight));
  }

  private place(palette: Palette): void {
    this.stale = false;
    const strips = this.rows.filter((row): row is StripRow => row.kind === 'strip').map(stripOf);
    const own = this.ownHeight();
    this.layout = layoutOf(this.rows.length, this.width(), own || 1);
    this.room.style.height = `${this.layout.height}px`;
    this.surface.resize(this.width(), this.windowHeight());
    const top = own ? this.element.scrollTop : Math.max(0, -this.room.getBoundingClientRect().top);
    const bands = strips.some(({ spectrum }) => spectrum >= 0) ? 1 : 0;
    const parts = partsOf(
      this.layout,
      bands,
      strips.some(({ others }) => others.length > 0),
    );
    const window = { top: Math.min(top, this.layout.height - this.windowHeight()), height: this.windowHeight() };
    const columns = columnsOf(this.rows, this.layout);
    const sheet = new Sheet(this.surface, this.layout, parts, palette);
    this.picture = new Picture(sheet, visibleRows(columns, this.layout, window));
  }

  /** A tap on a strip acknowledges its clips. */
  private click(event: MouseEvent): void {
    const box = this.surface.canvas.getBoundingClientRect();
    const row = this.picture?.at(event.clientX - box.left, event.clientY - box.top);
    if (!row) return;
    row.source.sets[row.set].acknowledge(row.index);
    this.changed();
  }
}

const stripOf = ({ source, set, index }: StripRow) => source.sets[set].strips[index];
