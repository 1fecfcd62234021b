import type { DeviceSummary, LiveClient } from '../../client/index.js';
import { passes } from '../model/key.js';
import { deflection, overDb, zoneOf } from '../model/scale.js';
import { describe, durationText, levelText } from '../model/text.js';
import { type Condition, connectionSentence, words } from '../model/words.js';
import { element, setAttribute, setText } from './dom.js';
import type { View } from './view.js';

const zones = ['good', 'warm', 'hot'];

const agoText = (seconds: number) => `${durationText(seconds * 1000)} ago`;

/** A device at a glance; a tap opens it. */
class Tile {
  readonly link = element('a', { class: 'tile' });
  readonly item = element('li', {}, this.link);
  private readonly badge = element('span', { class: 'badge' });
  private readonly level = element('span', { class: 'level' });
  private readonly bar = element('span', { class: 'fill' });
  private readonly worst = element('span', { class: 'worst' });
  private readonly clips = element('span', { class: 'clips' });
  private readonly change = element('span', { class: 'change' });
  private readonly reason = element('span', { class: 'reason' });
  private readonly address = element('span', { class: 'address' });

  constructor(name: string) {
    const head = element('span', { class: 'head' }, element('strong', {}, name), this.badge);
    const track = element('span', { class: 'track', 'aria-hidden': 'true' }, this.bar);
    const figure = element('span', { class: 'figure' }, this.level, this.worst, this.clips);
    this.link.append(head, figure, track, this.change, this.reason, this.address);
  }

  write(device: DeviceSummary, href: string, connected: boolean, now: number): void {
    const passed = (now - device.received) / 1000;
    const state = connected ? device.state : 'offline';
    setAttribute(this.link, 'href', href);
    setAttribute(this.link, 'data-state', state);
    setText(this.badge, words[state]);
    this.writeLevel(device.worst);
    setAttribute(this.clips, 'class', device.clips ? 'clips lit' : 'clips');
    setText(this.clips, device.clips ? `${device.clips} clips` : '');
    setText(this.change, changeText(device, passed));
    setText(this.reason, this.reasonText(device, state, passed));
    setText(this.address, device.address);
  }

  private writeLevel(worst: DeviceSummary['worst']): void {
    setText(this.level, worst ? `${levelText(worst.level)} dB` : '');
    setText(this.worst, worst ? worst.key.replace(/\/peak$/, '') : 'no levels');
    const level = worst ? worst.level : NaN;
    setAttribute(this.link, 'data-zone', level >= overDb ? 'hot' : zones[zoneOf(level)]);
    const wanted = `scaleX(${deflection(level).toFixed(3)})`;
    if (this.bar.style.transform !== wanted) this.bar.style.transform = wanted;
  }

  private reasonText(device: DeviceSummary, state: string, passed: number): string {
    if (state === 'live') return '';
    const age = device.age === undefined ? '' : `newest values ${agoText(device.age + passed)}`;
    return [device.reason, age].filter((text) => text !== '').join(' · ');
  }
}

function changeText({ lastChange }: DeviceSummary, passed: number): string {
  if (!lastChange) return 'no change seen';
  return `${lastChange.key} → ${describe(lastChange.value)} · ${agoText(lastChange.age + passed)}`;
}

/** All devices as tiles. */
export class DevicesView implements View {
  readonly title = 'Devices';
  readonly sources = [];
  readonly element = element('div', { class: 'devices' });
  private readonly list = element('ul', { class: 'tiles' });
  private readonly empty = element('p', { class: 'empty', hidden: true });
  private readonly status = element('p', { class: 'unseen', role: 'status' });
  private readonly states = new Map<string, string>();
  private readonly tiles = new Map<string, Tile>();
  private filter = '';
  private order = '';

  constructor(
    private readonly client: LiveClient,
    private readonly linkTo: (device: string) => string,
  ) {
    this.element.append(this.list, this.empty, this.status);
  }

  draw(): boolean {
    return false;
  }

  tick(now: number): void {
    const all = [...this.client.devices.values()].filter(({ name, address }) =>
      passes(`${name} ${address}`, this.filter),
    );
    this.arrange(all);
    this.announce(all);
    const connected = this.client.connection.phase === 'open';
    for (const device of all) this.tiles.get(device.name)?.write(device, this.linkTo(device.name), connected, now);
    this.empty.hidden = all.length > 0;
    setText(
      this.empty,
      this.filter ? `No device contains “${this.filter}”` : connected ? 'The gateway follows no device' : '',
    );
  }

  trickle(): void {
    // Tiles are few.
  }

  condition(now: number): Condition {
    const { connection } = this.client;
    if (connection.phase === 'open') return { state: 'live', word: words.live, sentence: '' };
    const state = connection.phase === 'connecting' ? 'connecting' : 'offline';
    return { state, word: words[state], sentence: connectionSentence(connection, now) };
  }

  restyle(): void {
    // The style sheet does it.
  }

  setFilter(text: string): void {
    this.filter = text;
    this.tick(performance.now());
  }

  resetHolds(): void {
    // Tiles hold nothing.
  }

  acknowledgeClips(): void {
    // The gateway's counts are for all viewers.
  }

  close(): void {
    // It has no subscriptions.
  }

  /** Devices that have entered another state. */
  private announce(all: readonly DeviceSummary[]): void {
    const changed = all.filter(({ name, state }) => (this.states.get(name) ?? state) !== state);
    for (const { name, state } of all) this.states.set(name, state);
    if (changed.length > 0) setText(this.status, changed.map(({ name, state }) => `${name}: ${state}`).join(', '));
  }

  private arrange(all: readonly DeviceSummary[]): void {
    const order = all.map(({ name }) => name).join('\n');
    if (order === this.order) return;
    this.order = order;
    const names = new Set(all.map(({ name }) => name));
    for (const name of this.tiles.keys()) if (!names.has(name)) this.tiles.delete(name);
    for (const { name } of all) if (!this.tiles.has(name)) this.tiles.set(name, new Tile(name));
    this.list.replaceChildren(...all.map(({ name }) => this.tiles.get(name)?.item ?? ''));
  }
}
