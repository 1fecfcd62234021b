import { drawSpark } from '../draw/spark.js';
import { fontOf, greyTone, type Palette } from '../draw/palette.js';
import { fitted, Surface } from '../draw/surface.js';
import { passes } from '../model/key.js';
import { areLevels } from '../model/scale.js';
import type { Source } from '../model/source.js';
import { element } from './dom.js';

interface Chart {
  prefix: string;
  place: number;
}

/** Sizes in parts of the page's font. */
const chartHeight = 7.5;
const chartWidth = 8.5;
const captionHeight = 1.5;
const gap = 1;

/** Charts of all spectra of a device's fast meters. */
export class Spectra {
  readonly element = element(
    'section',
    { class: 'spectra panel', 'aria-label': 'Spectra' },
    element('h2', {}, 'Spectra'),
  );
  filter = '';
  private readonly surface = new Surface();
  private charts: Chart[] = [];
  private version = '';
  private drawn = -1;
  /** Of the page's font, in CSS pixels. */
  private rem = 16;

  constructor(private readonly source: Source) {
    const scroll = element('div', { class: 'scroll', tabindex: '0', role: 'group', 'aria-label': 'Spectra' });
    scroll.append(this.surface.canvas);
    this.element.append(scroll);
  }

  /** Everything is drawn with the next picture. */
  again(): void {
    this.version = '';
    this.drawn = -1;
  }

  draw(palette: Palette, live: boolean): void {
    const { updates, layout } = this.source.fast;
    const version = [layout, this.source.namesVersion, this.filter, live, this.element.clientWidth].join('|');
    if (updates === this.drawn && version === this.version) return;
    if (version !== this.version) this.arrange(palette);
    this.version = version;
    this.drawn = updates;
    this.charts.forEach((chart, i) => this.drawChart(chart, i, palette, live));
  }

  private arrange(palette: Palette): void {
    const { sets, fast } = this.source;
    const has = (place: number) => {
      const value = place >= 0 ? fast.value(place) : null;
      return value instanceof Float32Array && areLevels(value);
    };
    this.charts = [...sets[0].strips, ...sets[0].others]
      .filter(({ prefix }) => passes(prefix, this.filter) || passes(this.source.labelOf(prefix), this.filter))
      .filter(({ spectrum }) => has(spectrum))
      .map(({ prefix, spectrum }) => ({ prefix, place: spectrum }));
    this.element.hidden = this.charts.length === 0;
    if (this.element.hidden) return;
    this.rem = parseFloat(getComputedStyle(document.documentElement).fontSize);
    const rows = Math.ceil(this.charts.length / this.perRow());
    this.surface.resize(this.width(), rows * (chartHeight + gap) * this.rem);
    const { context, canvas } = this.surface;
    context.fillStyle = palette.ground;
    context.fillRect(0, 0, canvas.width, canvas.height);
    this.charts.forEach((chart, i) => this.drawCaption(chart, i, palette));
  }

  private width(): number {
    const style = getComputedStyle(this.element);
    return this.element.clientWidth - parseFloat(style.paddingLeft) - parseFloat(style.paddingRight);
  }

  private perRow(): number {
    return Math.max(1, Math.min(this.charts.length, Math.floor((this.width() / this.rem + gap) / (chartWidth + gap))));
  }

  private boxOf(i: number): { x: number; y: number; width: number; height: number } {
    const scale = this.surface.scale * this.rem;
    const perRow = this.perRow();
    const step = (this.width() / this.rem + gap) / perRow;
    return {
      x: Math.round((i % perRow) * step * scale),
      y: Math.round(Math.floor(i / perRow) * (chartHeight + gap) * scale),
      width: Math.round((step - gap) * scale),
      height: Math.round((chartHeight - captionHeight) * scale),
    };
  }

  private drawCaption({ prefix }: Chart, i: number, palette: Palette): void {
    const { context } = this.surface;
    const scale = this.surface.scale * this.rem;
    const box = this.boxOf(i);
    context.font = fontOf(0.9 * scale);
    context.textBaseline = 'middle';
    context.fillStyle = palette.ink;
    const text = fitted(context, this.source.labelOf(prefix), box.width);
    context.fillText(text, box.x, box.y + box.height + (captionHeight / 2) * scale);
  }

  private drawChart({ place }: Chart, i: number, palette: Palette, live: boolean): void {
    drawSpark(this.surface.context, this.boxOf(i), this.source.fast.value(place), palette, live ? 0 : greyTone);
  }
}
