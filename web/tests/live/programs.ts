// A device and gateways as they are built: CORVALUX_DEVHOST and CORVALUX_GATEWAY say where.
import { type ChildProcess, spawn } from 'node:child_process';
import { once } from 'node:events';
import { mkdtempSync, rmSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import type { TestContext } from 'node:test';

function program(variable: string): string {
  const path = process.env[variable];
  if (!path) throw new Error(`${variable} is not set`);
  return path;
}

/** A program that runs until the test ends, once it has printed this. */
async function run(test: TestContext, path: string, options: string[], says: RegExp) {
  const child = spawn(path, options, { stdio: ['ignore', 'pipe', 'pipe'] });
  test.after(() => child.kill('SIGKILL'));
  let text = '';
  const said = await new Promise<RegExpMatchArray>((resolve, reject) => {
    const look = (chunk: Buffer): void => {
      text += chunk.toString();
      const match = says.exec(text);
      if (match) resolve(match);
    };
    child.stdout.on('data', look);
    child.stderr.on('data', look);
    child.on('error', reject);
    child.on('exit', (code) => reject(new Error(`${path} ended with ${code}: ${text}`)));
  });
  return { child, said };
}

export async function end(child: ChildProcess): Promise<void> {
  const exited = once(child, 'exit');
  child.kill('SIGTERM');
  await exited;
}

/** A folder that the test's end removes. */
export function folder(test: TestContext): string {
  const path = mkdtempSync(join(tmpdir(), 'corvalux-'));
  test.after(() => rmSync(path, { recursive: true }));
  return path;
}

/** The module under the development host, on a socket file of this folder. */
export async function device(test: TestContext, place: string, ...options: string[]) {
  const address = `unix:${place}/desk`;
  const { child } = await run(
    test,
    program('CORVALUX_DEVHOST'),
    ['--set', `serverUrl=${address}`, ...options],
    /serves/,
  );
  return { address, child };
}

export async function gateway(test: TestContext, options: string[], port = 0) {
  const listen = ['--listen', `127.0.0.1:${port}`];
  const { child, said } = await run(test, program('CORVALUX_GATEWAY'), [...listen, ...options], /serving (http:\S+)\n/);
  const http = said[1];
  return { child, http, url: `${http.replace('http', 'ws')}live` };
}
