import { LiveClient } from '../client/index.js';
import { listenToKeys } from './keys.js';
import { type Address, type Choice, formatAddress, liveUrls, nowhere, parseAddress } from './model/address.js';
import type { HoldMode } from './model/hold.js';
import { words } from './model/words.js';
import { Chooser } from './view/chooser.js';
import { DevicesView } from './view/devices.js';
import { element } from './view/dom.js';
import { Frames, isCalm, onCalmWish } from './view/frames.js';
import { Header } from './view/header.js';
import { helpDialog } from './view/help.js';
import { Menu, toggleFullScreen } from './view/menu.js';
import { MetersView, type Part } from './view/meters.js';
import { applySettings, loadSettings, onThemeWish, saveSettings, type Settings } from './view/settings.js';
import type { Stage, View } from './view/view.js';

const turnMs = 50;
/** One of so many turns is a tick, the others are trickles. */
const turnsPerTick = 5;
const calmRate = 5;
/** What devices are like, a second. */
const devicesPerSecond = 2;

/** The page: what is in the address decides which view it shows. */
export class App {
  private settings: Settings = loadSettings();
  private address: Address = nowhere;
  private client: LiveClient | undefined;
  private view: View | undefined;
  private paused = false;
  private turns = 0;
  private readonly main = element('main', { id: 'main' });
  private readonly help = helpDialog();
  private readonly chooser = new Chooser((wall) => this.showWall(wall));
  private readonly frames = new Frames((now) => this.draw(now));
  private readonly menu = new Menu({
    settings: (change) => this.change(change),
    keepPeaks: (keepsPeaks) => this.replace({ keepsPeaks }),
    help: () => this.help.showModal(),
  });
  private readonly header = new Header(
    {
      filter: (text) => this.filter(text),
      rate: (rate) => this.restart({ rate }),
      pause: () => this.pause(),
      resetHolds: () => this.view?.resetHolds(),
      acknowledgeClips: () => this.view?.acknowledgeClips(),
      chooseStrips: () => this.choose(),
    },
    element('a', { class: 'brand', title: 'All devices' }, 'corvalux'),
    this.menu.element,
  );

  start(body: HTMLElement): void {
    applySettings(this.settings);
    body.replaceChildren(this.header.element, this.main, this.help, this.chooser.dialog);
    this.listen();
    this.route();
    setInterval(() => this.turn(), turnMs);
  }

  private listen(): void {
    addEventListener('hashchange', () => this.route());
    document.addEventListener('visibilitychange', () => this.visibility());
    onThemeWish(() => this.change({}));
    onCalmWish(() => this.restart({}));
    listenToKeys({
      ' ': () => this.pause(),
      p: () => this.pause(),
      '/': () => this.header.filter.focus(),
      Escape: () => this.filter(''),
      r: () => this.view?.resetHolds(),
      c: () => this.view?.acknowledgeClips(),
      f: toggleFullScreen,
      d: () => (location.hash = this.link({ device: '', wall: [] })),
      '?': () => this.help.showModal(),
    });
    this.header.filter.addEventListener('keydown', (event) => {
      if (event.key === 'Escape') this.filter('');
      if (event.key === 'Escape' || event.key === 'Enter') this.header.filter.blur();
    });
  }

  /** Reads the address, and builds what it says. */
  private route(): void {
    const before = this.address;
    this.address = parseAddress(location.hash);
    if (!this.client || String(before.gateways) !== String(this.address.gateways)) this.connect();
    this.paused = false;
    this.view?.close();
    this.view = this.viewOf(this.address);
    this.main.replaceChildren(this.view.element);
    this.view.setFilter(this.address.filter);
    this.describe();
    this.tick();
    this.frames.request();
  }

  private connect(): void {
    this.client?.close();
    const urls = liveUrls(location.href, this.address.gateways);
    const events = { connection: () => this.describeState(), devices: () => this.describeState() };
    this.client = new LiveClient({ urls, devicesPerSecond, events });
    this.client.setHidden(document.hidden);
  }

  private viewOf({ device, wall, keys }: Address): View {
    const client = this.clientHere();
    if (device) return new MetersView(client, device, [{ device, strips: keys }], this.stage(), true);
    if (wall.length) return new MetersView(client, 'Wall', partsOf(wall), this.stage(), false);
    return new DevicesView(client, (name) => this.link({ device: name, wall: [], keys: [], filter: '' }));
  }

  private stage(): Stage {
    const { rate } = this.address;
    return {
      rate: isCalm() ? Math.min(rate || calmRate, calmRate) : rate,
      news: () => this.news(),
      redraw: () => this.frames.request(),
      isPaused: () => this.paused,
      holdMode: () => this.holdMode(),
    };
  }

  private holdMode(): HoldMode {
    return this.address.keepsPeaks ? 'keep' : isCalm() ? 'drop' : 'fall';
  }

  /** Who is paused says at once that it has what came; who is hidden has the client say it. */
  private news(): void {
    if (this.paused) this.clientHere().drawn();
    else if (!document.hidden) this.frames.request();
  }

  private draw(now: number): void {
    const { view } = this;
    if (!view?.draw(now)) return;
    const client = this.clientHere();
    client.drawn();
    for (const source of view.sources) this.header.figures.drawn(source, client.roundTrip, now);
  }

  private tick(): void {
    const { view } = this;
    if (!view || document.hidden) return;
    const now = performance.now();
    view.tick(now);
    this.header.figures.tick(view.sources[0], now);
    this.describeState();
  }

  /** So that no picture waits for both a tick and a trickle. */
  private turn(): void {
    this.turns++;
    if (this.turns % turnsPerTick === 0) this.tick();
    else if (!document.hidden) this.view?.trickle();
  }

  private describeState(): void {
    const { view } = this;
    if (!view) return;
    const found = view.condition(performance.now());
    const paused = this.paused && found.state === 'live';
    const condition = paused ? { state: 'paused' as const, word: words.paused, sentence: '' } : found;
    this.header.tick(condition, view.title, this.paused);
    if (view.sources.length) this.frames.request();
  }

  private visibility(): void {
    this.clientHere().setHidden(document.hidden);
    this.tick();
  }

  private pause(): void {
    if (!this.view?.sources.length) return;
    this.paused = !this.paused;
    this.tick();
  }

  private filter(filter: string): void {
    this.replace({ filter });
    this.view?.setFilter(filter);
  }

  /** Puts a change into the address, without a further step in the browser's history. */
  private replace(change: Partial<Address>): void {
    history.replaceState(null, '', this.link(change));
    this.address = { ...this.address, ...change };
    this.describe();
  }

  private restart(change: Partial<Address>): void {
    this.replace(change);
    this.route();
  }

  private describe(): void {
    const { filter, rate, keepsPeaks } = this.address;
    const home = this.link({ device: '', wall: [], keys: [], filter: '' });
    this.header.show(this.view?.title ?? '', home, filter, rate, (this.view?.sources.length ?? 0) > 0);
    this.menu.show(this.settings, keepsPeaks);
  }

  private change(change: Partial<Settings>): void {
    this.settings = { ...this.settings, ...change };
    saveSettings(this.settings);
    applySettings(this.settings);
    this.view?.restyle();
    this.frames.request();
  }

  private choose(): void {
    const { device, wall, keys } = this.address;
    const here = (keys.length ? keys : ['**']).map((strips) => ({ device, strips }));
    this.chooser.open([...this.clientHere().devices.keys()], device ? here : wall);
  }

  private showWall(wall: Choice[]): void {
    location.hash = this.link({ device: '', wall, keys: [], filter: '' });
  }

  private link(change: Partial<Address>): string {
    return formatAddress({ ...this.address, ...change });
  }

  private clientHere(): LiveClient {
    if (!this.client) throw new Error('not connected yet');
    return this.client;
  }
}

/** A device is subscribed to once, whatever is chosen of it. */
function partsOf(wall: readonly Choice[]): Part[] {
  const parts = new Map<string, string[]>();
  for (const { device, strips } of wall) parts.set(device, [...(parts.get(device) ?? []), strips]);
  return [...parts].map(([device, strips]) => ({ device, strips: strips.includes('**') ? [] : strips }));
}
