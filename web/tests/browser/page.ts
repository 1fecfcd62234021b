import assert from 'node:assert/strict';
import { join } from 'node:path';
import puppeteer, { type Browser, type Page as Tab } from 'puppeteer-core';
import { folder, patience, until } from './programs.js';

const chromiumOptions = [
  '--no-sandbox',
  '--disable-gpu',
  '--disable-quic',
  '--no-first-run',
  '--disable-background-networking',
  '--disable-component-update',
  '--disable-sync',
];

/** Debian's Chromium, without a screen, with a profile of its own. */
export function chromium(name = 'chromium', ...options: string[]): Promise<Browser> {
  return puppeteer.launch({
    executablePath: process.env['CORVALUX_CHROMIUM'] ?? '/usr/bin/chromium',
    args: [...chromiumOptions, ...options],
    userDataDir: join(folder, name),
  });
}

/** Debian's Firefox. It wants a HOME that belongs to who runs it. */
export function firefox(): Promise<Browser> {
  return puppeteer.launch({
    browser: 'firefox',
    executablePath: process.env['CORVALUX_FIREFOX'] ?? '/usr/bin/firefox-esr',
    env: { ...process.env, HOME: folder },
  });
}

/** What Chromium and Firefox themselves say of a connection that broke: the page handles that. */
const brokenLine = /^WebSocket |connection to (the server at )?wss?:/;

/** How the page is shown. */
export interface Look {
  width?: number;
  height?: number;
  theme?: 'dark' | 'light';
  calm?: boolean;
  touch?: boolean;
}

/** The page in a tab; what it complains of fails the test. */
export class Page {
  readonly complaints: string[] = [];

  private constructor(readonly tab: Tab) {}

  static async open(browser: Browser, url: string, hash = '', look: Look = {}): Promise<Page> {
    const tab = await browser.newPage();
    const page = new Page(tab);
    const complain = (text: string) => {
      if (!brokenLine.test(text)) page.complaints.push(text);
    };
    tab.on('console', (line) => {
      if (line.type() === 'error') complain(line.text());
    });
    tab.on('pageerror', (error) => complain(String(error)));
    await tab.evaluateOnNewDocument(() => {
      document.addEventListener('securitypolicyviolation', ({ violatedDirective, blockedURI }) => {
        console.error(`against ${violatedDirective}: ${blockedURI}`);
      });
    });
    await tab.setViewport({ width: look.width ?? 1280, height: look.height ?? 800, hasTouch: look.touch ?? false });
    if (look.theme ?? look.calm) await page.emulate(look);
    await tab.goto(url + hash);
    return page;
  }

  /** To another view, as a link does. */
  async go(hash: string): Promise<void> {
    await this.tab.evaluate((there) => (location.hash = there), hash);
  }

  async close(): Promise<void> {
    await this.tab.close();
    assert.deepEqual(this.complaints, []);
  }

  async text(selector: string): Promise<string> {
    return this.tab.$eval(selector, (node) => node.textContent).catch(() => '');
  }

  texts(selector: string): Promise<string[]> {
    return this.tab.$$eval(selector, (nodes) => nodes.map((node) => node.textContent));
  }

  /** Until the badge has this state. */
  async isInState(state: string, ms = patience): Promise<void> {
    await until(`the badge says ${state}`, async () => (await this.text('.where .badge')).includes(state), ms);
  }

  async shows(selector: string, text: string | RegExp): Promise<void> {
    const matches = (found: string) => (typeof text === 'string' ? found.includes(text) : text.test(found));
    await until(`${selector} shows ${String(text)}`, async () => matches(await this.text(selector)));
  }

  click(selector: string): Promise<void> {
    return this.tab.click(selector);
  }

  /** Clicks the button with this text. */
  async press(text: string): Promise<void> {
    await this.tab.locator(`::-p-xpath(//button[contains(., "${text}")])`).click();
  }

  /** Levels of the table of meters, by device and strip. */
  async levels(): Promise<Map<string, number>> {
    const rows = await this.tab.$$eval('.meters-table tbody tr', (lines) =>
      lines.map(
        (line) =>
          [line.querySelector('th')?.dataset['strip'] ?? '', line.querySelector('meter')?.value ?? NaN] as const,
      ),
    );
    return new Map(rows);
  }

  strips(): Promise<string[]> {
    return this.texts('.meters-table tbody th');
  }

  size(selector: string): Promise<{ width: number; height: number }> {
    return this.tab.$eval(selector, ({ clientWidth, clientHeight }) => ({ width: clientWidth, height: clientHeight }));
  }

  /** How many pixels of a canvas have a colour that is not nearly grey. */
  colours(selector = '.bridge canvas'): Promise<number> {
    return this.tab.$eval(selector, (canvas) => {
      const { width, height } = canvas as HTMLCanvasElement;
      const { data } = (canvas as HTMLCanvasElement).getContext('2d')?.getImageData(0, 0, width, height) ?? {
        data: [],
      };
      let count = 0;
      for (let i = 0; i < data.length; i += 4) {
        const [red, green, blue] = [data[i], data[i + 1], data[i + 2]];
        if (Math.max(red, green, blue) - Math.min(red, green, blue) > 60) count++;
      }
      return count;
    });
  }

  picture(): Promise<string> {
    return this.tab.$eval('.bridge canvas', (canvas) => canvas.toDataURL());
  }

  /** Of grey bars that begin at these places: until where each is solid, and until where it is lighter. */
  edges(places: { x: number; y: number }[], length: number): Promise<[number, number][]> {
    const read = (canvas: Element, all: { x: number; y: number }[], wide: number) => {
      const context = (canvas as HTMLCanvasElement).getContext('2d');
      const style = getComputedStyle(document.documentElement);
      const [solid, light] = ['--grey', '--grey-light'].map((name) =>
        parseInt(style.getPropertyValue(name).trim().slice(1), 16),
      );
      return all.map(({ x, y }): [number, number] => {
        const { data } = context?.getImageData(x, y, wide, 1) ?? { data: [] };
        const colours = Array.from(
          { length: wide },
          (_, i) => (data[i * 4] << 16) | (data[i * 4 + 1] << 8) | data[i * 4 + 2],
        );
        const end = colours.lastIndexOf(solid) + 1;
        return [end, Math.max(end, colours.lastIndexOf(light) + 1)];
      });
    };
    return this.tab.$eval('.bridge canvas', read, places, length);
  }

  /** How many pictures are drawn meanwhile: what is drawn at one time of the page's clock is one. */
  picturesWithin(ms: number): Promise<number> {
    return this.tab.evaluate(async (time) => {
      const { prototype } = CanvasRenderingContext2D;
      const original = Object.getOwnPropertyDescriptor(prototype, 'fillRect') ?? {};
      const drawn = new Set<unknown>();
      const fill = original.value as (...box: number[]) => void;
      prototype.fillRect = function (...box) {
        drawn.add(document.timeline.currentTime);
        fill.apply(this, box);
      };
      await new Promise((resume) => setTimeout(resume, time));
      Object.defineProperty(prototype, 'fillRect', original);
      return drawn.size;
    }, ms);
  }

  /** Names of what the tab key reaches, in its order. */
  async tabStops(count: number): Promise<string[]> {
    const names: string[] = [];
    for (let i = 0; i < count; i++) {
      await this.tab.keyboard.press('Tab');
      names.push(
        await this.tab.evaluate(
          () => document.activeElement?.getAttribute('aria-label') ?? document.activeElement?.textContent ?? '',
        ),
      );
    }
    return names;
  }

  /**
   * Drivers keep every tab visible, so that the page is made to believe it. Gives how many ms it took until a picture of
   * values that came after it was drawn.
   */
  setHidden(hidden: boolean): Promise<number> {
    return this.tab.evaluate(async (wanted) => {
      Object.defineProperty(document, 'hidden', { value: wanted, configurable: true });
      const canvas = document.querySelector<HTMLCanvasElement>('.bridge canvas');
      const before = canvas?.toDataURL();
      const begin = performance.now();
      document.dispatchEvent(new Event('visibilitychange'));
      while (!wanted && canvas?.toDataURL() === before) await new Promise(requestAnimationFrame);
      return performance.now() - begin;
    }, hidden);
  }

  private async emulate({ theme, calm }: Look): Promise<void> {
    const features = [];
    if (theme) features.push({ name: 'prefers-color-scheme', value: theme });
    if (calm) features.push({ name: 'prefers-reduced-motion', value: 'reduce' });
    await this.tab.emulateMediaFeatures(features);
  }
}
