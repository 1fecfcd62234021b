import assert from 'node:assert/strict';
import { type ChildProcess, spawn } from 'node:child_process';
import { mkdtempSync, rmSync } from 'node:fs';
import type { Socket } from 'node:net';
import { tmpdir } from 'node:os';
import { join } from 'node:path';

/** How long a test waits for what should come at once, in ms; only used up by one that fails. */
export const patience = 10_000;

/** Waits until the question has an answer that counts as true, and gives it. */
export async function until<Answer>(what: string, ask: () => Answer | Promise<Answer>, ms = patience): Promise<Answer> {
  const end = performance.now() + ms;
  for (;;) {
    const answer = await ask();
    if (answer) return answer;
    assert.ok(performance.now() < end, `${what}; the last answer was ${String(answer)}`);
    await new Promise((resume) => setTimeout(resume, 10));
  }
}

/** A running program and its output. */
export class Program {
  output = '';
  private readonly process: ChildProcess;

  constructor(command: string, options: readonly string[]) {
    this.process = spawn(command, options, { stdio: ['ignore', 'pipe', 'pipe'] });
    for (const pipe of [this.process.stdout, this.process.stderr]) {
      pipe?.on('data', (octets: Buffer) => (this.output += octets.toString()));
      (pipe as Socket | null)?.unref();
    }
    // A test that fails may leave it running: then it ends with the tests, which do not wait for it.
    this.process.unref();
    process.on('exit', () => this.process.kill('SIGKILL'));
  }

  /** What the pattern's group found in the output. */
  async says(pattern: RegExp): Promise<string> {
    const found = await until(`${this.process.spawnfile} says ${String(pattern)}: ${this.output}`, () =>
      pattern.exec(this.output),
    );
    return found?.[1] ?? '';
  }

  /** Stops it for a while, as a machine does that has no time for it. */
  freeze(): void {
    this.process.kill('SIGSTOP');
  }

  thaw(): void {
    this.process.kill('SIGCONT');
  }

  async end(signal: NodeJS.Signals = 'SIGTERM'): Promise<void> {
    this.process.kill('SIGCONT');
    this.process.kill(signal);
    await until('the program ends', () => this.process.exitCode !== null || this.process.signalCode !== null);
  }
}

/** What was built beside the package, unless it is said to be elsewhere. */
const programs = {
  devhost: process.env['CORVALUX_DEVHOST'] ?? '../build/dev/tools/devhost/corvalux-devhost',
  gateway: process.env['CORVALUX_GATEWAY'] ?? '../build/dev/gateway/corvalux-gateway',
};

/** A place for sockets and profiles; removed at the end. */
export const folder = mkdtempSync(join(tmpdir(), 'corvalux-page-'));
process.on('exit', () => {
  rmSync(folder, { recursive: true, force: true, maxRetries: 5 });
});

export const socketOf = (name: string) => `unix:${folder}/${name}.sock`;

/** The development host with the module, as a device of this name. */
export async function device(name: string, ...options: string[]): Promise<Program> {
  const set = ['--set', `serverUrl=${socketOf(name)}`, '--log-level', '4'];
  const program = new Program(programs.devhost, [...set, ...options]);
  await program.says(/serves/);
  return program;
}

/** The gateway with devices, by the names of their sockets, and its address. */
export async function gateway(
  devices: Readonly<Record<string, string>>,
  ...options: string[]
): Promise<{ program: Program; url: string }> {
  const named = Object.entries(devices).map(([name, socket]) => `${name}=${socketOf(socket)}`);
  const listen = options.includes('--listen') ? [] : ['--listen', '127.0.0.1:0'];
  const page = ['--page', process.env['CORVALUX_PAGE'] ?? 'dist/page'];
  const program = new Program(programs.gateway, [...named, ...listen, ...page, ...options]);
  return { program, url: await program.says(/serving (http\S+)\n/) };
}
