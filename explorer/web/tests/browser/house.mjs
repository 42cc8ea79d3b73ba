// A server on traces of its own, and a browser that looks at it: what all tests of the page share.
//
// MARROWFIN_EXPLORER and MARROWFIN_TRACE name the programs, MARROWFIN_MODULES the folder of
// node_modules. Everything that a browser complains of fails the test that opened the page.

import assert from 'node:assert/strict';
import { execFileSync, spawn } from 'node:child_process';
import { mkdtempSync, readFileSync, rmSync, writeFileSync } from 'node:fs';
import { createRequire } from 'node:module';
import { tmpdir } from 'node:os';
import { dirname, join } from 'node:path';
import { fileURLToPath } from 'node:url';

const modules = process.env.MARROWFIN_MODULES ?? fileURLToPath(new URL('../..', import.meta.url));
const require = createRequire(join(modules, 'package.json'));
const { chromium } = require('playwright-core');
export const puppeteer = require('puppeteer-core');
const axe = readFileSync(require.resolve('axe-core/axe.min.js'), 'utf8');

const folder = mkdtempSync(join(tmpdir(), 'marrowfin-page-'));
export const file = (name) => join(folder, name);

/** Runs the trace tool; what it makes lies in the folder of this run. */
export const tool = (...args) => execFileSync(process.env.MARROWFIN_TRACE, args, { cwd: folder });

/** Runs a command line as it was copied: in a shell, where the traces lie. */
export const shell = (command) =>
  execFileSync('bash', ['-c', command], {
    cwd: folder,
    encoding: 'utf8',
    maxBuffer: 1 << 28,
    env: { ...process.env, PATH: `${dirname(process.env.MARROWFIN_TRACE)}:${process.env.PATH}` },
  });

/** The command line that was just copied. */
export async function told(page) {
  await page.waitForFunction(() => document.querySelector('.status-notice')?.textContent.startsWith('Copied: '));
  return page.evaluate(() => navigator.clipboard.readText());
}

/** A trace of four threads on 4 x 4 clusters, made up. */
export function synth(name, records = 200_000) {
  tool('synth', '-o', name, '--records', String(records), '-c', '4', '-d', '2', '-p', '4');
  return file(name);
}

/** The bytes of a message: type, cycle, thread, length, and both places. */
function sendBytes({ cycle, thread, from, to }) {
  const bytes = Buffer.alloc(36);
  bytes.writeUInt32BE(4, 0);
  bytes.writeBigUInt64BE(BigInt(cycle), 4);
  [thread, 16, ...from, ...to].forEach((word, i) => bytes.writeUInt32BE(word, 12 + 4 * i));
  return bytes;
}

/** By which a companion knows its trace: see docs/companion-format.md. */
function fingerprint(sends) {
  const most = (1n << 64n) - 1n;
  const pair = ([high, low]) => (BigInt(high) << 32n) | BigInt(low);
  let value = 0xcbf29ce484222325n;
  for (const { cycle, thread, from, to } of sends) {
    for (const word of [BigInt(cycle), pair([4, thread]), pair(from), pair(to)]) {
      const mixed = value ^ word;
      value = ((((mixed << 29n) | (mixed >> 35n)) & most) * 0x9e3779b97f4a7c15n) & most;
    }
  }
  return value.toString(16).padStart(16, '0');
}

/** A trace of messages on a mesh whose links go around its edges. */
export function torus(name, side, sends) {
  writeFileSync(file(name), Buffer.concat(sends.map(sendBytes)));
  const first = sends.slice(0, 64);
  writeFileSync(
    file(`${name}.about`),
    `format = 1\n[trace]\nrecords = ${first.length}\nfingerprint = "${fingerprint(first)}"\n` +
      `[array]\nclusters = { columns = 1, rows = 1 }\ndomains = { columns = 1, rows = 1 }\n` +
      `pes = { columns = ${side}, rows = ${side} }\ngaps = false\nwrap = { columns = true, rows = true }\n` +
      `[links]\nrouting = "xy"\nmessages_per_cycle = 1.0\n`,
  );
  return file(name);
}

const servers = [];

/**
 * Starts the server, at any port unless the arguments name one. `link` is what it prints; `end` tells
 * when it has ended.
 */
export async function serve(...args) {
  const own = { '--port': ['0'], '--no-browser': [] };
  const more = Object.entries(own).flatMap(([flag, words]) => (args.includes(flag) ? [] : [flag, ...words]));
  const server = spawn(process.env.MARROWFIN_EXPLORER, [...args, ...more], {
    cwd: folder,
    stdio: ['ignore', 'pipe', 'inherit'],
  });
  const ended = new Promise((resolve) => server.on('exit', resolve));
  const link = await new Promise((resolve, reject) => {
    let text = '';
    server.stdout.on('data', (bytes) => {
      text += bytes;
      const found = /http:\/\/\S+/.exec(text);
      if (found !== null) {
        resolve(found[0]);
      }
    });
    void ended.then((code) => reject(new Error(`the server ended with ${code}`)));
  });
  const end = (signal = 'SIGTERM') => {
    server.kill(signal);
    return ended;
  };
  servers.push({ end });
  return { link, pid: server.pid, end };
}

let browser;

// What draws is Mesa's llvmpipe on any machine, so that pictures and times are of the same driver.
const DRIVER = ['--use-gl=angle', '--use-angle=gl-egl', '--ignore-gpu-blocklist'];
const SOFTWARE = { LIBGL_ALWAYS_SOFTWARE: '1', GALLIUM_DRIVER: 'llvmpipe', EGL_PLATFORM: 'surfaceless' };

/** One browser for all tests of a file. */
export async function launch() {
  const program = execFileSync('/bin/sh', ['-c', 'command -v chromium'], { encoding: 'utf8' }).trim();
  browser = await chromium.launch({
    executablePath: program,
    chromiumSandbox: process.getuid() !== 0,
    args: DRIVER,
    env: { ...process.env, ...SOFTWARE },
  });
}

/** Ends the browser and every server, those of tests that failed as well. */
export async function leave() {
  await browser?.close();
  await Promise.all(servers.map((server) => server.end()));
  rmSync(folder, { recursive: true, force: true });
}

// A driver that draws in software tells how slow that is; it is no complaint of the page.
const isOfTheDriver = (text) => text.includes('GL Driver Message');

/**
 * Opens the page and waits until it rests. `hash` is the view, `text` the size of text in per cent,
 * `theme` light or dark, `touch` whether there are fingers. Where
 * `rests` is false, it waits for the first picture alone.
 */
export async function open(link, { hash = '', width = 1600, height = 1000, theme = 'light', text = 100, ratio = 1, touch = false, rests = true } = {}) {
  const context = await browser.newContext({
    viewport: { width, height },
    deviceScaleFactor: ratio,
    hasTouch: touch,
    colorScheme: theme,
    reducedMotion: 'reduce',
    permissions: ['clipboard-read', 'clipboard-write'],
  });
  const page = await context.newPage();
  page.complaints = [];
  page.on('console', (message) => {
    if (!isOfTheDriver(message.text())) {
      page.complaints.push(`console: ${message.text()}`);
    }
  });
  page.on('pageerror', (error) => page.complaints.push(`error: ${error.stack}`));
  await page.addInitScript(() =>
    document.addEventListener('securitypolicyviolation', (event) =>
      console.error(`policy: ${event.violatedDirective} forbids ${event.blockedURI}`),
    ),
  );
  if (text !== 100) {
    await page.addInitScript((percent) => {
      document.addEventListener('DOMContentLoaded', () => {
        document.documentElement.style.fontSize = `${percent}%`;
      });
    }, text);
  }
  await page.addInitScript(() => {
    const look = () => {
      window.firstPicture = window.explorer?.state.draws > 0 ? performance.now() : undefined;
      return window.firstPicture ?? requestAnimationFrame(look);
    };
    look();
  });
  await page.goto(`${link}#${hash}`);
  await page.waitForFunction(() => window.explorer?.state.records > 0 && window.firstPicture > 0);
  if (rests) {
    await rest(page);
  }
  return page;
}

/** Until nothing is asked, fetched or drawn any more. */
export const rest = (page) => page.evaluate(() => window.explorer.idle());
export const state = (page) => page.evaluate(() => ({ ...window.explorer.state }));

/** The fields of the view's address. */
export const view = async (page) => Object.fromEntries(new URLSearchParams((await state(page)).hash.slice(1)));

export async function close(page) {
  assert.deepEqual(page.complaints, []);
  await page.context().close();
}

/** What stands in the way of some people; nothing should. */
export async function barriers(page) {
  await page.evaluate(axe);
  const found = await page.evaluate(() => window.axe.run());
  return found.violations.map(
    (one) => `${one.id}: ${one.nodes.map((node) => `${node.target.join(' ')} ${node.failureSummary}`).join(', ')}`,
  );
}

/** How many rows of the list of events are to be seen. */
export async function rowsInSight(page) {
  const grid = await page.getByRole('grid', { name: 'Events' }).boundingBox();
  const boxes = await page.locator('.virtual-row').evaluateAll((all) =>
    all.map((row) => row.getBoundingClientRect()).map(({ top, bottom }) => [top, bottom]),
  );
  return boxes.filter(([top, bottom]) => bottom > grid.y + 30 && top < grid.y + grid.height).length;
}

/** Words that are cut off, and elements that reach out of the window. */
export const cutOff = (page) =>
  page.evaluate(() =>
    [...document.querySelectorAll('button, h1, h2, h3, dt, dd, th, span, label, p')]
      .filter((element) => element.checkVisibility({ checkVisibilityCSS: true }) && element.textContent.trim() !== '')
      .filter((element) => {
        const box = element.getBoundingClientRect();
        const style = getComputedStyle(element);
        const unseen = element.closest('[aria-hidden="true"]') !== null || style.clipPath !== 'none';
        const cut = element.scrollWidth > element.clientWidth + 1 && style.overflowX === 'hidden' && style.textOverflow === 'clip';
        return !unseen && box.width > 0 && (cut || box.right > innerWidth + 1);
      })
      .map((element) => `${element.tagName.toLowerCase()}.${element.className}: ${element.textContent.trim().slice(0, 40)}`),
  );
