// Measures the page in Chromium against gateway and development host, and prints the figures as a table.
// figures.js [MINUTES]: how long the heap is watched; 0, the default: not at all.
import { build } from 'esbuild';
import { spawn } from 'node:child_process';
import { setTimeout as sleep } from 'node:timers/promises';
import type { Browser, Page as Tab } from 'puppeteer-core';
import { chromium } from '../browser/page.js';
import { device, gateway, type Program, socketOf, until } from '../browser/programs.js';
import type { Probe } from './probe.js';

const minutes = Number(process.argv[2] ?? 0);
const loads = 20;
const seconds = 20;

function quantile(numbers: readonly number[], part: number): number {
  const sorted = [...numbers].sort((left, right) => left - right);
  return sorted[Math.min(sorted.length - 1, Math.floor(part * sorted.length))];
}

const row = (what: string, figure: string) => {
  console.log(`| ${what} | ${figure} |`);
};

async function probeSource(): Promise<string> {
  const options = { bundle: true, format: 'iife', target: 'es2022', write: false, logLevel: 'warning' } as const;
  const { outputFiles } = await build({ ...options, entryPoints: ['tests/figures/probe.ts'] });
  return outputFiles[0].text;
}

const source = await probeSource();
const probeOf = (tab: Tab) => tab.evaluate(() => (window as unknown as { probe: Probe }).probe);

/** A tab with the probe; cold: as in a browser that was never there. */
async function open(browser: Browser, url: string): Promise<Tab> {
  const context = await browser.createBrowserContext();
  const tab = await context.newPage();
  await tab.evaluateOnNewDocument(source);
  await tab.setViewport({ width: 2560, height: 1440 });
  await tab.goto(url);
  return tab;
}

async function close(tab: Tab): Promise<void> {
  await tab.browserContext().close();
}

/** Opens the page often, each time cold. */
async function measureFirst(browser: Browser, url: string): Promise<void> {
  const first: number[] = [];
  for (let i = 0; i < loads; i++) {
    const tab = await open(browser, url);
    first.push(await until('a live picture', async () => (await probeOf(tab)).first));
    await close(tab);
  }
  row(
    'first live picture, cold cache, p50 / greatest',
    `${quantile(first, 0.5).toFixed(0)} / ${Math.max(...first).toFixed(0)} ms`,
  );
}

interface TraceEvent {
  name: string;
  ts: number;
  dur?: number;
  tdur?: number;
  tid: number;
}

/** Everything that runs the page's scripts. */
const scripts = ['FireAnimationFrame', 'TimerFire', 'FunctionCall', 'EventDispatch'];

/** The processor's time of scripts until each frame, in ms: other programs of the machine do not count. */
function framesOf(trace: Uint8Array): number[] {
  const { traceEvents } = JSON.parse(Buffer.from(trace).toString()) as { traceEvents: TraceEvent[] };
  const thread = traceEvents.find(({ name }) => name === 'FireAnimationFrame')?.tid;
  const calls = traceEvents.filter(
    ({ name, tid, tdur }) => scripts.includes(name) && tid === thread && tdur !== undefined,
  );
  const frames: number[] = [];
  let end = 0;
  let spent = 0;
  for (const { name, ts, dur = 0, tdur = 0 } of calls.sort((left, right) => left.ts - right.ts)) {
    if (ts < end) continue;
    end = ts + dur;
    spent += tdur / 1000;
    if (name !== 'FireAnimationFrame') continue;
    frames.push(spent);
    spent = 0;
  }
  return frames;
}

async function measureFrames(browser: Browser, url: string, bars: number): Promise<void> {
  const tab = await (await browser.createBrowserContext()).newPage();
  await tab.setViewport({ width: 2560, height: 1440 });
  await tab.goto(url);
  await sleep(3000);
  await tab.tracing.start({ categories: ['devtools.timeline'] });
  await sleep(seconds * 1000);
  const frames = framesOf((await tab.tracing.stop()) ?? new Uint8Array());
  row(
    `script time a frame at ${bars} bars, p50 / p95`,
    `${quantile(frames, 0.5).toFixed(1)} / ${quantile(frames, 0.95).toFixed(1)} ms`,
  );
  row(`frames a second at ${bars} bars`, (frames.length / seconds).toFixed(0));
  await close(tab);
}

/** When each update came at a subscriber beside the gateway: by the engine's time, in ms since 1970. */
async function arrivals(socket: string): Promise<Map<number, number>> {
  const options = ['--json', '--stream', 'fast', '--seconds', String(seconds), socket];
  const monitor = spawn(process.env['CORVALUX_MONITOR'] ?? '../build/dev/tools/monitor/corvalux-monitor', options, {
    stdio: ['ignore', 'pipe', 'ignore'],
  });
  let text = '';
  for await (const octets of monitor.stdout) text += String(octets);
  const lines = text.trim().split('\n').map((line) => JSON.parse(line) as { time: number; entries: { key: string; value: number }[] }); // prettier-ignore
  return new Map(
    lines.map(({ time, entries }) => [entries.find(({ key }) => key === 'engine/time')?.value ?? NaN, time * 1000]),
  );
}

async function measureDelay(browser: Browser, url: string, socket: string): Promise<void> {
  const tab = await open(browser, url);
  await sleep(2000);
  const came = await arrivals(socket);
  const { shown } = await probeOf(tab);
  const delays = shown.flatMap(([time, at]) => (came.has(time) ? [at - (came.get(time) ?? NaN)] : []));
  const skipped = came.size - delays.length;
  row(
    'event to screen at 60 Hz, p50 / p99',
    `${quantile(delays, 0.5).toFixed(0)} / ${quantile(delays, 0.99).toFixed(0)} ms`,
  );
  row('events, and those that a newer one replaced before a frame', `${came.size}, ${skipped}`);
  await close(tab);
}

async function measureBytes(browser: Browser, url: string): Promise<void> {
  const tab = await (await browser.createBrowserContext()).newPage();
  const session = await tab.createCDPSession();
  let octets = 0;
  session.on('Network.loadingFinished', ({ encodedDataLength }) => (octets += encodedDataLength));
  await session.send('Network.enable');
  await tab.goto(url, { waitUntil: 'networkidle2' });
  await sleep(1000);
  row('bytes of the page on the wire, with headers', `${(octets / 1024).toFixed(1)} KiB`);
  await close(tab);
}

interface Snapshot {
  snapshot: { meta: { node_fields: string[]; node_types: [string[]] } };
  nodes: number[];
}

/** What is left after a garbage collection, in octets, and how much of it is code that the browser has compiled. */
async function heapOf(tab: Tab): Promise<{ all: number; code: number }> {
  const session = await tab.createCDPSession();
  await session.send('HeapProfiler.collectGarbage');
  const { usedSize } = await session.send('Runtime.getHeapUsage');
  let text = '';
  session.on('HeapProfiler.addHeapSnapshotChunk', ({ chunk }) => (text += chunk));
  await session.send('HeapProfiler.takeHeapSnapshot', { reportProgress: false });
  await session.detach();
  const { snapshot, nodes } = JSON.parse(text) as Snapshot;
  const { node_fields: fields, node_types: types } = snapshot.meta;
  const [type, size] = [fields.indexOf('type'), fields.indexOf('self_size')];
  let code = 0;
  for (let at = 0; at < nodes.length; at += fields.length) {
    if (types[0][nodes[at + type]] === 'code') code += nodes[at + size];
  }
  return { all: usedSize, code };
}

/** The page's own data must not grow; code does for a while, since the browser compiles it again, better. */
async function measureHeap(browser: Browser, url: string): Promise<void> {
  const tab = await (await browser.createBrowserContext()).newPage();
  await tab.goto(url);
  await sleep(60_000);
  const early = await heapOf(tab);
  await sleep((minutes - 1) * 60_000);
  const late = await heapOf(tab);
  const grown = (to: number, from: number) =>
    `${(to / from).toFixed(2)} (${(from / 1e6).toFixed(2)} to ${(to / 1e6).toFixed(2)} MB)`;
  row(`heap after ${minutes} min to after 1`, grown(late.all, early.all));
  row('the same without compiled code', grown(late.all - late.code, early.all - early.code));
  await close(tab);
}

const browser = await chromium();
const fast = ['--fast-hz', '60'];
const devices: Program[] = [
  await device('desk'),
  await device('bars128', '--channels', '124', ...fast),
  await device('bars512', '--channels', '508', ...fast),
  await device('quick', ...fast),
];
const { program, url } = await gateway({ desk: 'desk', bars128: 'bars128', bars512: 'bars512', quick: 'quick' });
row('what', 'figure');
row('---', '---');
await measureFirst(browser, `${url}#/desk`);
await measureFrames(browser, `${url}#/?show=bars128`, 128);
await measureFrames(browser, `${url}#/?show=bars512`, 512);
await measureDelay(browser, `${url}#/quick`, socketOf('quick'));
await measureBytes(browser, `${url}#/desk`);
if (minutes > 1) await measureHeap(browser, `${url}#/desk`);
await browser.close();
await Promise.all([program, ...devices].map((each) => each.end()));
