import { durationText } from '../model/text.js';
import type { Source } from '../model/source.js';
import { element, setText } from './dom.js';

const rateText = (rate: number) => (rate > 0 ? `${rate.toFixed(rate < 10 ? 1 : 0)}/s` : '–');

/** How old and how complete the picture is. */
export class Figures {
  readonly element = element('dl', { class: 'figures' });
  private readonly texts = new Map<string, HTMLElement>();
  private counted = 0;
  private since = 0;
  private rate = '';
  private delay = 0;
  private delayShown = '';

  constructor() {
    for (const name of ['age', 'rate', 'merged', 'delay']) {
      const text = element('dd');
      this.texts.set(name, text);
      this.element.append(element('div', {}, element('dt', {}, name), text));
    }
  }

  /** New values are on the screen. */
  drawn(source: Source, roundTrip: number, now: number): void {
    const { age, received } = source.main;
    this.delay = Math.max(this.delay, (age + roundTrip / 2) * 1000 + now - received);
  }

  tick(source: Source | undefined, now: number): void {
    this.element.hidden = !source;
    if (!source) return;
    const { updates, merged } = source.main;
    if (now - this.since >= 1000) this.nextSecond(updates, now);
    this.set('age', Number.isNaN(source.age(now)) ? '–' : durationText(source.age(now)));
    this.set('rate', this.rate);
    this.set('merged', !updates ? '–' : merged > 1 ? `${merged} to 1` : 'none');
    this.set('delay', this.delayShown);
  }

  /** The delay is the greatest of the last second. */
  private nextSecond(updates: number, now: number): void {
    const passed = (now - this.since) / 1000;
    const count = updates >= this.counted ? updates - this.counted : updates;
    this.rate = passed < 5 ? rateText(count / passed) : '–';
    this.delayShown = this.delay > 0 ? durationText(this.delay) : '–';
    this.counted = updates;
    this.since = now;
    this.delay = 0;
  }

  private set(name: string, text: string): void {
    const node = this.texts.get(name);
    if (node) setText(node, text);
  }
}
