import type { LiveClient } from '../../client/index.js';
import { readPalette } from '../draw/palette.js';
import { Source } from '../model/source.js';
import { type Condition, worstOf } from '../model/words.js';
import { Bridge } from './bridge.js';
import { Changes } from './changes.js';
import { element } from './dom.js';
import { Spectra } from './spectra.js';
import { Table } from './table.js';
import { Values } from './values.js';
import type { Stage, View } from './view.js';

/** Strips to show, of one device. */
export interface Part {
  device: string;
  strips: readonly string[];
}

/** The meter bridge of a device with all its values, or a wall: strips of several devices. */
export class MetersView implements View {
  readonly element: HTMLElement;
  readonly sources: readonly Source[];
  private readonly bridge: Bridge;
  private readonly table: Table;
  private readonly panels: readonly [Spectra, Values, Changes] | readonly [];
  private palette = readPalette();

  constructor(
    client: LiveClient,
    readonly title: string,
    parts: readonly Part[],
    private readonly stage: Stage,
    hasDetails: boolean,
  ) {
    const { rate, news } = stage;
    this.sources = parts.map(({ device, strips }) => new Source(client, { device, strips, rate, news }));
    this.bridge = new Bridge(this.sources, stage.redraw);
    this.table = new Table(this.bridge);
    const [source] = this.sources;
    this.panels = hasDetails ? [new Spectra(source), new Values(source), new Changes(source)] : [];
    const [spectra, ...lists] = this.panels.map((panel) => panel.element);
    const left = element('div', { class: 'left' }, this.bridge.element, ...(hasDetails ? [spectra] : []));
    const right = hasDetails ? [element('div', { class: 'right' }, ...lists)] : [];
    this.element = element(
      'div',
      { class: hasDetails ? 'meters detailed' : 'meters' },
      left,
      ...right,
      this.table.element,
    );
  }

  draw(now: number): boolean {
    const mode = this.stage.holdMode();
    const paused = this.stage.isPaused();
    let isNew = false;
    if (!paused) for (const source of this.sources) isNew = source.take(now, mode) || isNew;
    const falling = !paused && this.bridge.step(now, mode);
    const isLive = (source: Source) => !paused && source.condition(now).state === 'live';
    this.bridge.draw(this.palette, paused, isLive);
    if (this.panels.length && !paused) this.panels[0].draw(this.palette, isLive(this.sources[0]));
    if (falling) this.stage.redraw();
    return isNew;
  }

  tick(): void {
    this.bridge.tick();
    if (!this.panels.length || this.stage.isPaused()) return;
    this.panels[1].tick();
    this.panels[2].tick();
  }

  trickle(): void {
    this.table.tick();
  }

  condition(now: number): Condition {
    return worstOf(this.sources.map((source) => source.condition(now)));
  }

  restyle(): void {
    this.palette = readPalette();
    this.bridge.again();
    if (this.panels.length) this.panels[0].again();
  }

  setFilter(text: string): void {
    this.bridge.filter = text;
    for (const panel of this.panels) panel.filter = text;
    this.stage.redraw();
  }

  resetHolds(): void {
    this.eachSet((set) => set.holds.reset());
  }

  acknowledgeClips(): void {
    this.eachSet((set) => set.acknowledge());
  }

  close(): void {
    for (const source of this.sources) source.close();
    this.bridge.close();
  }

  private eachSet(act: (set: Source['sets'][0]) => void): void {
    for (const source of this.sources) source.sets.forEach(act);
    this.stage.redraw();
  }
}
