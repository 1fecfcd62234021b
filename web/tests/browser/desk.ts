import { after, before } from 'node:test';
import assert from 'node:assert/strict';
import type { Browser } from 'puppeteer-core';
import { Line } from './line.js';
import { type Look, Page } from './page.js';
import { device, gateway, type Program, until } from './programs.js';

/** Devices desk and stage, rack that is not there, their gateway, and a browser behind a line that can be cut. */
export class Stand {
  browser!: Browser;
  desk!: Program;
  stage!: Program;
  gateway!: Program;
  line!: Line;
  url = '';
  private direct = '';

  constructor(launch: () => Promise<Browser>, name: string) {
    before(async () => {
      this.browser = await launch();
      [this.desk, this.stage] = await Promise.all([device(`${name}-desk`), device(`${name}-stage`, '--seed', '7')]);
      await this.startGateway(name);
    });
    after(async () => {
      await this.browser.close();
      this.line.close();
      await Promise.all([this.desk, this.stage, this.gateway].map((program) => program.end()));
    });
  }

  open(hash = '', look: Look = {}): Promise<Page> {
    return Page.open(this.browser, this.url, hash, look);
  }

  /** Opens the page, and waits until its picture is live. */
  async live(hash = '#/desk', look: Look = {}): Promise<Page> {
    const page = await this.open(hash, look);
    await page.isInState('live');
    await page.shows('.meters-table tbody', /\d/);
    return page;
  }

  /** The device's numbers by key, as the gateway's API has them. */
  async values(name = 'desk'): Promise<Map<string, unknown>> {
    const answer = await fetch(`${this.direct}api/devices/${name}/values`);
    assert.equal(answer.status, 200);
    const { values } = (await answer.json()) as { values: { key: string; value: unknown }[] };
    return new Map(values.map(({ key, value }) => [key, value]));
  }

  /** While the desk's process stands still, as on a machine that has no time for it, and the page knows. */
  async whileSilent(page: Page, look: () => Promise<void>): Promise<void> {
    for (let seen = false; !seen;) {
      this.desk.freeze();
      try {
        await page.isInState('stale');
        // An update that stands for several has the greatest of their peaks, which the API does not have.
        seen = (await page.text('.figures')).includes('mergednone');
        if (seen) await look();
      } finally {
        this.desk.thaw();
      }
      await page.isInState('live');
    }
  }

  /** Until the table has the levels that the gateway's API has, which must stand still meanwhile. */
  async hasTheLevels(page: Page): Promise<ReadonlyMap<string, unknown>> {
    const values = await this.values();
    const isOther = ([strip, level]: [string, number]) => {
      const peak = Number(values.get(`${strip.slice('desk:'.length)}/peak`));
      return !(Math.abs(level - Math.min(0, Math.max(-70, peak))) < 1e-3);
    };
    let others: [string, number][] = [];
    const differs = async () => (others = [...(await page.levels())].filter(isOther)).length > 0;
    await until('the table has the newest levels', async () => !(await differs()), 5000).catch((error: unknown) => {
      throw new Error(
        `${String(error)}: ${others.join(' ')} are ${others.map(([strip]) => values.get(`${strip.slice(5)}/peak`)).join(' ')}`,
      );
    });
    return values;
  }

  private async startGateway(name: string): Promise<void> {
    const { program, url } = await gateway({ desk: `${name}-desk`, stage: `${name}-stage`, rack: `${name}-rack` });
    this.gateway = program;
    this.direct = url;
    this.line = new Line(Number(new URL(url).port));
    this.url = await this.line.open();
  }
}
