// Builds the page into dist/page: index.html, and what it needs under names that have a hash of the contents, each with
// a compressed copy beside it. Nothing in it depends on when or where it is built.
import { build } from 'esbuild';
import { Buffer } from 'node:buffer';
import { createHash } from 'node:crypto';
import { mkdirSync, readFileSync, rmSync, writeFileSync } from 'node:fs';
import { dirname, join } from 'node:path';
import process from 'node:process';
import { fileURLToPath } from 'node:url';
import { gzipSync } from 'node:zlib';

const here = dirname(fileURLToPath(import.meta.url));
const page = join(here, 'page');
const target = join(here, process.argv[2] ?? 'dist/page');
const browsers = ['chrome109', 'firefox115', 'safari15.4'];

function write(name, octets) {
  writeFileSync(join(target, name), octets);
  writeFileSync(join(target, `${name}.gz`), gzipSync(octets, { level: 9 }));
}

/** The asset's address, from the page. */
function asset(name, octets) {
  const hash = createHash('sha256').update(octets).digest('hex').slice(0, 10);
  const dot = name.lastIndexOf('.');
  const hashed = `assets/${name.slice(0, dot)}-${hash}${name.slice(dot)}`;
  write(hashed, octets);
  return hashed;
}

async function bundle(file) {
  const options = { bundle: true, minify: true, format: 'esm', target: browsers, legalComments: 'none', write: false };
  const result = await build({ ...options, entryPoints: [join(page, file)], logLevel: 'warning' });
  return result.outputFiles[0].contents;
}

const read = (name) => readFileSync(join(page, name), 'utf8');

rmSync(target, { recursive: true, force: true });
mkdirSync(join(target, 'assets'), { recursive: true });
const icon = asset('icon.svg', readFileSync(join(page, 'icon.svg')));
const names = {
  'icon.svg': icon,
  'page.webmanifest': asset(
    'page.webmanifest',
    Buffer.from(read('page.webmanifest').replace('icon.svg', icon.slice(7))),
  ),
  'page.css': asset('page.css', await bundle('page.css')),
  'main.js': asset('page.js', await bundle('main.ts')),
};
let html = read('index.html');
for (const [name, hashed] of Object.entries(names)) html = html.replace(`"${name}"`, `"${hashed}"`);
write('index.html', Buffer.from(html));
