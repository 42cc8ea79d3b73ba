// The main roads in another browser: Debian's Firefox ESR, driven over WebDriver BiDi. It draws on a
// screen in memory, since it has no WebGL without one.

import assert from 'node:assert/strict';
import { execFileSync, spawn } from 'node:child_process';
import { after, before, test } from 'node:test';

import { file, leave, puppeteer, rest, serve, state, tool, view } from './house.mjs';
import { coloursOf, engineState, follow, spotOf } from './plan.mjs';

const FLAGS = ['-c', '2', '-d', '2', '-p', '4'];
const SIDE = 16;
const LONG = { timeout: 180_000 };
const SEARCH = 'dialog[open] [role=combobox]';

let screen;
let browser;
let server;

const programOf = (name) => execFileSync('/bin/sh', ['-c', `command -v ${name}`], { encoding: 'utf8' }).trim();

/** A screen in memory; its number is told when it is ready. */
async function openScreen() {
  screen = spawn('Xvfb', ['-displayfd', '1', '-screen', '0', '1600x1000x24', '-nolisten', 'tcp'], {
    stdio: ['ignore', 'pipe', 'ignore'],
  });
  return new Promise((resolve, reject) => {
    screen.stdout.on('data', (bytes) => resolve(`:${String(bytes).trim()}`));
    screen.on('exit', (code) => reject(new Error(`the screen ended with ${code}`)));
  });
}

before(async () => {
  tool('synth', '-o', 'run.trace', '--records', '20000', ...FLAGS);
  server = await serve(file('run.trace'), ...FLAGS);
  browser = await puppeteer.launch({
    browser: 'firefox',
    executablePath: programOf('firefox-esr'),
    headless: false,
    env: { ...process.env, DISPLAY: await openScreen(), MOZ_ENABLE_WAYLAND: '0' },
    extraPrefsFirefox: { 'webgl.force-enabled': true, 'ui.prefersReducedMotion': 1 },
  });
}, LONG);

after(async () => {
  await browser?.close();
  screen?.removeAllListeners('exit');
  screen?.kill();
  await leave();
});

/** Says what the driver says of software is no complaint; all else is. */
const isOfTheDriver = (text) => /WEBGL_debug_renderer_info|WebGL warning|software/i.test(text);

async function open(hash) {
  const page = await browser.newPage();
  page.complaints = [];
  page.on('console', (message) => {
    if (!isOfTheDriver(message.text())) {
      page.complaints.push(`console: ${message.text()}`);
    }
  });
  page.on('pageerror', (error) => page.complaints.push(`error: ${error.stack}`));
  await page.setViewport({ width: 1200, height: 800 });
  page.waitForTimeout = (time) => new Promise((resolve) => setTimeout(resolve, time));
  // What the tests of the other browser use of its pages, in this one's words.
  page.locator = (selector) => ({ boundingBox: async () => (await page.$(selector)).boundingBox() });
  await page.goto(`${server.link}#${hash}`);
  await page.waitForFunction(() => window.explorer?.state.records > 0);
  await rest(page);
  return page;
}

async function close(page) {
  assert.deepEqual(page.complaints, []);
  await page.close();
}

async function waitFor(page, is) {
  while (!is(await state(page))) {
    await page.waitForTimeout(20);
  }
  await rest(page);
}

test('Firefox: the page opens, without a complaint, and tells how much of the trace there is', LONG, async () => {
  const page = await open('cycle=60');
  assert.match(await browser.version(), /^firefox/i);
  const { records, connection, level } = await state(page);
  assert.deepEqual([records, connection, level], [20000, 'connected', 'pe']);
  await close(page);
});

test("Firefox: elements have the engine's colours in every channel", LONG, async () => {
  const page = await open('reading=viewer&step=0&layers=s');
  const seen = new Set();
  for (const step of [0, 1, 40, 250, 90]) {
    await follow(page, `reading=viewer&step=${step}&layers=s`);
    const colours = await coloursOf(page, SIDE);
    assert.deepEqual(colours, engineState('run.trace', '--step', step, ...FLAGS).elements, `step ${step}`);
    seen.add(JSON.stringify(colours));
  }
  assert.equal(seen.size, 5);
  await close(page);
});

test('Firefox: keys step and play, both ways', LONG, async () => {
  const page = await open('cycle=60&speed=60');
  const { step } = await state(page);
  await page.keyboard.press('ArrowRight');
  await waitFor(page, (now) => now.step === step + 1);
  await page.keyboard.press('ArrowLeft');
  await waitFor(page, (now) => now.step === step);
  await page.keyboard.press(' ');
  while ((await state(page)).step < step + 10) {
    await page.waitForTimeout(20);
  }
  await page.keyboard.press(' ');
  await waitFor(page, (now) => !now.playing);
  await close(page);
});

test('Firefox: the mouse selects, zooms and pans', LONG, async () => {
  const page = await open('cycle=60');
  const spot = await spotOf(page, 3, 12);
  await page.mouse.click(spot.x, spot.y);
  await rest(page);
  assert.deepEqual((await state(page)).selected, { piece: { pe: [3, 12] } });
  await page.mouse.move(spot.x, spot.y);
  await page.mouse.wheel({ deltaY: -600 });
  await waitFor(page, (now) => now.zoom > 1.5);
  const zoomed = await spotOf(page, 3, 12);
  assert.ok(Math.hypot(zoomed.x - spot.x, zoomed.y - spot.y) < 40, 'the element stays under the pointer');
  await page.mouse.down();
  await page.mouse.move(spot.x + 50, spot.y + 20, { steps: 4 });
  await page.mouse.up();
  await rest(page);
  const panned = await spotOf(page, 3, 12);
  assert.ok(Math.abs(panned.x - zoomed.x - 50) < 3 && Math.abs(panned.y - zoomed.y - 20) < 3);
  await close(page);
});

test('Firefox: a drag over a strip of the timeline selects a range', LONG, async () => {
  const page = await open('window=1000-1999');
  const box = await page.locator('.timeline-area').boundingBox();
  await page.mouse.move(box.x + 0.4 * box.width, box.y + 90);
  await page.mouse.down();
  await page.mouse.move(box.x + 0.6 * box.width, box.y + 90, { steps: 6 });
  await page.mouse.up();
  await rest(page);
  const [first, last] = (await view(page)).range.split('-').map(Number);
  assert.ok(Math.abs(first - 1400) <= 3 && Math.abs(last - 1600) <= 3, `${first} to ${last}`);
  await close(page);
});

test('Firefox: a cycle is gone to from the search box, and the palette of commands opens', LONG, async () => {
  const page = await open('cycle=60');
  await page.keyboard.press('/');
  await page.waitForSelector(SEARCH);
  await page.keyboard.type('cycle 1600');
  await page.waitForFunction(() => /1,?600/.test(document.querySelector('[role=option]')?.textContent ?? ''));
  await rest(page);
  await page.keyboard.press('Enter');
  await waitFor(page, (now) => Number(now.cycle) > 1500);
  await page.keyboard.press('F1');
  await page.waitForSelector(SEARCH);
  assert.equal(await page.$eval(SEARCH, (input) => input.value.startsWith('>')), true);
  await page.keyboard.press('Escape');
  await close(page);
});

test('Firefox: a link brings to the same view', LONG, async () => {
  const page = await open('cycle=60&select=pe:4,5&colour=nothing&camera=1.5,4,4&range=100-200');
  const { hash, step, cycle } = await state(page);
  const other = await open(hash.slice(1));
  const there = await state(other);
  assert.deepEqual([there.hash, there.step, there.cycle], [hash, step, cycle]);
  await close(page);
  await close(other);
});
