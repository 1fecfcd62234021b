import assert from 'node:assert/strict';
import { execFileSync } from 'node:child_process';
import { writeFileSync } from 'node:fs';
import { after, test } from 'node:test';
import { chromium, Page } from './page.js';
import { device, folder, gateway, Program, until } from './programs.js';

const name = 'meters.example';
// The name is this machine's, and nobody has signed its certificate.
const browser = await chromium('proxy', `--host-resolver-rules=MAP ${name} 127.0.0.1`, '--ignore-certificate-errors');
const desk = await device('proxy-desk');
const { program, url } = await gateway({ desk: 'proxy-desk' }, '--allow-host', name);
const { nginx, port } = await start();
after(async () => {
  await browser.close();
  await Promise.all([desk.end(), program.end(), nginx.end()]);
});

/** nginx with TLS, and the gateway below a path of it; a port that is free. */
async function start(): Promise<{ nginx: Program; port: number }> {
  const files = ['-keyout', `${folder}/key`, '-out', `${folder}/crt`];
  const openssl = ['req', '-x509', '-newkey', 'rsa:2048', '-nodes', '-days', '2', '-subj', `/CN=${name}`, ...files];
  execFileSync('openssl', openssl, { stdio: 'ignore' });
  for (;;) {
    const at = 20_000 + Math.floor(Math.random() * 10_000);
    writeFileSync(`${folder}/nginx.conf`, configuration(at));
    const server = new Program('nginx', ['-p', folder, '-c', `${folder}/nginx.conf`, '-e', 'stderr']);
    const said = () => server.output.includes('event method') || server.output.includes('[emerg]');
    await until('nginx starts', said);
    if (!server.output.includes('[emerg]')) return { nginx: server, port: at };
    assert.match(server.output, /Address already in use/);
  }
}

function configuration(at: number): string {
  return `
    daemon off; master_process off; pid ${folder}/nginx.pid; error_log stderr notice; events {}
    http {
      access_log off; client_body_temp_path ${folder}; proxy_temp_path ${folder};
      fastcgi_temp_path ${folder}; uwsgi_temp_path ${folder}; scgi_temp_path ${folder};
      server {
        listen 127.0.0.1:${at} ssl; ssl_certificate ${folder}/crt; ssl_certificate_key ${folder}/key;
        location /desks/main/ {
          proxy_pass ${url}; proxy_http_version 1.1; proxy_buffering off;
          proxy_set_header Host $http_host; proxy_set_header Upgrade $http_upgrade;
          proxy_set_header Connection upgrade;
        }
      }
    }`;
}

const behind = () => Page.open(browser, `https://${name}:${port}/desks/main/`, '#/desk');

test('below a path of a proxy with TLS everything works', async () => {
  const page = await behind();
  await page.isInState('live');
  await until('it draws', async () => (await page.colours()) > 0);
  await page.go('#/');
  await page.shows('.tile .badge', 'live');
  await page.close();
});

test('with HTTPS the screen is kept on, and can be filled', async () => {
  const page = await behind();
  await page.isInState('live');
  await page.click('summary');
  await page.press('Keep the screen on');
  await page.shows('[aria-pressed=true]', 'Keep the screen on');
  await page.press('Full screen');
  await until('it fills the screen', () => page.tab.evaluate(() => document.fullscreenElement !== null));
  await page.tab.keyboard.press('f');
  await until('it no longer does', () => page.tab.evaluate(() => document.fullscreenElement === null));
  await page.close();
});

test('without HTTPS the page says why the screen is not kept on', async () => {
  const page = await Page.open(browser, url.replace('127.0.0.1', name), '#/desk');
  await page.isInState('live');
  await page.click('summary');
  await page.shows('.menu button:disabled', 'Keep the screen on: needs HTTPS');
  await page.close();
});
