// How fast the explorer's page is, in headless Chromium that draws in software (llvmpipe), on the real
// server. Prints a table as the other benchmarks do, and exits with 3 where a bar is not met.
//
// usage: node bench.mjs [--quick] [--minutes N]
//
// MARROWFIN_EXPLORER, MARROWFIN_TRACE and MARROWFIN_EXPLORER_BENCH (of the core) name the programs,
// MARROWFIN_MODULES the folder of node_modules.
// Traces go to TMPDIR and are removed again: 2 GB, with --quick a tenth.

import { execFileSync } from 'node:child_process';
import { readFileSync, rmSync } from 'node:fs';
import { cpus, loadavg } from 'node:os';

import { file, launch, leave, open, serve, state, tool } from '../../../explorer/web/tests/browser/house.mjs';
import { fromInside } from './inside.mjs';
import { atLeast, atMost, heading, middle, note, notMet } from './table.mjs';

const quick = process.argv.includes('--quick');
const at = process.argv.indexOf('--minutes');
const MINUTES = at > 0 ? Number(process.argv[at + 1]) : quick ? 0.5 : 10;
const LONG = quick ? 2_400_000 : 24_000_000; // records
const WINDOW = { width: 1600, height: 1000 };
const SHAPES = { 64: ['-c', '4', '-d', '2', '-p', '8'], 256: ['-c', '8', '-d', '4', '-p', '8'], 1024: ['-c', '16', '-d', '8', '-p', '8'] };

const MB = 1e6;
const wait = (milliseconds) => new Promise((resolve) => setTimeout(resolve, milliseconds));

function make(name, side, records, ...more) {
  tool('synth', '-o', name, '--records', String(records), '--threads', '8', ...SHAPES[side], ...more);
  return file(name);
}

const index = (name, side) => tool('state', name, '--cycle', '1', ...SHAPES[side]);

/** Bytes of memory that a process does not share with files. */
const memoryOf = (pid) =>
  1024 * Number(/RssAnon:\s+(\d+) kB/.exec(readFileSync(`/proc/${pid}/status`, 'utf8'))[1]);

async function show(server, hash, options = {}) {
  const page = await open(server.link, { ...WINDOW, hash, ...options });
  await fromInside(page);
  return page;
}

/** Milliseconds from the start of loading to the first picture of the trace, as the page itself sees it. */
async function firstPicture(link) {
  const page = await open(link, { ...WINDOW, rests: false });
  const time = await page.evaluate(() => window.firstPicture);
  await page.context().close();
  return time;
}

async function measureOpening(name) {
  heading(`Opening, ${LONG / 1e6} M records, 256 x 256 PEs`);
  const early = await serve(file(name), ...SHAPES[256]);
  atMost('first picture, without index', await firstPicture(early.link), 'ms', 2000);
  early.end();
  index(name, 256);
  const server = await serve(file(name), ...SHAPES[256]);
  const times = [];
  for (let i = 0; i < 5; ++i) {
    times.push(await firstPicture(server.link));
  }
  atMost('first picture, with an index', middle(times), 'ms', 1000);
  return server;
}

async function measureScrubbing(server, side, name) {
  heading(`Scrubbing at random, ${side} x ${side} PEs`);
  const page = await show(server, 'cycle=0&layers=s');
  const seen = await page.evaluate((count) => window.bench.scrub(count), quick ? 9 : 40);
  const own = await page.evaluate(() => window.bench.asked('state'));
  note('a state, as the page gets it by its socket', own, 'ms');
  note('until the page has it, from the hand', middle(seen.map(({ known }) => known)), 'ms');
  note('until it is drawn', middle(seen.map(({ drawn }) => drawn)), 'ms');
  const engine = engineTime(name, side);
  note("the engine's own question", engine, 'ms');
  note("a state, as the page gets it, against the engine's own question", own / engine, 'x');
  atMost("until it is drawn, against the engine's own question", middle(seen.map(({ drawn }) => drawn)) / engine, 'x', 3);
  atMost('older pictures over newer ones', seen.filter(({ older }) => older).length, '', 0);
  await page.context().close();
}

/** Milliseconds of the engine's own question for a state at random: no program starts, nothing is sent or drawn. */
const engineTime = (name, side) =>
  Number(execFileSync(process.env.MARROWFIN_EXPLORER_BENCH, ['--state', file(name), String(side)], { encoding: 'utf8' }));

/** Plays for some seconds; steps and pictures a second. */
async function play(page, seconds) {
  const before = await state(page);
  const began = performance.now();
  await wait(1000 * seconds);
  const after = await state(page);
  const passed = (performance.now() - began) / 1000;
  // The clock starts and stops within a state, which is delivered all the same.
  return { steps: (Math.abs(after.step - before.step) + 1) / passed, draws: (after.draws - before.draws) / passed };
}

/** Lets the page play for good; its looping is that of the transport. */
async function startPlaying(page, speed) {
  await page.locator('.transport-speed').selectOption(String(speed));
  await page.getByRole('button', { name: /^Play/ }).first().click();
}

async function measurePlaying(server) {
  heading('Playing, 256 x 256 PEs');
  for (const [way, hash] of [['forward', 'cycle=1000'], ['backward', 'cycle=8000']]) {
    const page = await show(server, hash);
    await startPlaying(page, way === 'forward' ? 60 : -60);
    await wait(1500);
    const { steps, draws } = await play(page, quick ? 4 : 15);
    atLeast(`states a second delivered, ${way}, at 60 a second`, steps, '', 60);
    note('  pictures a second', draws, '');
    await page.context().close();
  }
}

const heapOf = async (wire) => {
  await wire.send('HeapProfiler.collectGarbage');
  const { metrics } = await wire.send('Performance.getMetrics');
  return metrics.find(({ name }) => name === 'JSHeapUsedSize').value;
};

async function measureMemory(server) {
  heading(`Memory of ${MINUTES} minutes of playing, 256 x 256 PEs`);
  const page = await show(server, 'cycle=0');
  const wire = await page.context().newCDPSession(page);
  await wire.send('Performance.enable');
  await page.evaluate(() => document.querySelector('.transport button[aria-label^="Loop"]')?.click());
  await startPlaying(page, 60);
  await wait(20_000); // until what is kept is kept
  const heap = await heapOf(wire);
  const own = memoryOf(server.pid);
  await wait(60_000 * MINUTES);
  note('the page after some seconds', heap / MB, 'MB');
  atMost('what it has more at the end', ((await heapOf(wire)) - heap) / MB, 'MB', 2);
  note('the server after some seconds', own / MB, 'MB');
  atMost('what it has more at the end', (memoryOf(server.pid) - own) / MB, 'MB', 10);
  await page.context().close();
}

async function measureTabs(server) {
  heading('Four tabs playing, 256 x 256 PEs');
  const pages = [];
  for (let i = 0; i < 4; ++i) {
    pages.push(await show(server, `cycle=${1000 * i}`));
    await startPlaying(pages[i], i % 2 === 0 ? 60 : -60);
  }
  let most = 0;
  for (let i = 0; i < (quick ? 5 : 30); ++i) {
    await wait(1000);
    most = Math.max(most, memoryOf(server.pid));
  }
  atMost('memory of the server', most / MB, 'MB', 200);
  await Promise.all(pages.map((page) => page.context().close()));
}

async function measureTimeline(server) {
  heading(`The timeline, ${LONG / 1e6} M records`);
  const page = await show(server, 'cycle=0');
  const moves = await page.evaluate(() => window.bench.timeline(18));
  atMost('data of a new window, from the hand', middle(moves.map(({ data }) => data)), 'ms', 50);
  note('the slowest', Math.max(...moves.map(({ data }) => data)), 'ms');
  atMost('frames without a picture of the strips', moves.reduce((sum, { blank }) => sum + blank, 0), '', 0);
  await page.context().close();
}

async function measureEvents(server) {
  heading(`The list of events, ${LONG / 1e6} M records, thread:3`);
  const page = await show(server, 'cycle=0');
  await page.keyboard.press('e');
  await page.getByRole('textbox', { name: 'Filter events' }).fill('thread:3');
  await page.waitForTimeout(1500);
  await page.evaluate(() => window.explorer.idle());
  const jumps = await page.evaluate(() => window.bench.jumps(7));
  atMost('a jump to the middle, until its rows are there', middle(jumps), 'ms', 100);
  await page.context().close();
}

/** How many pictures a second a hand that pans sees. */
async function measureDragging(page, what, bar) {
  const frames = await page.evaluate((seconds) => window.bench.pan(seconds), quick ? 3 : 8);
  (bar === undefined ? note : atLeast)(what, frames, '', bar);
}

async function measureBands() {
  make('bands.trace', 256, 400_000, '--random', '--seed', '5');
  const server = await serve(file('bands.trace'), ...SHAPES[256]);
  const page = await show(server, 'cycle=2000');
  const { messages } = await state(page);
  heading(`${messages} bands, 256 x 256 PEs, 1600 x 1000`);
  await measureDragging(page, 'frames a second while the hand pans', 30);
  note('  with so many bands', messages, '');
  await page.context().close();
  server.end();
}

async function measureHuge() {
  heading('1,024 x 1,024 PEs, 2.4 M records');
  make('huge.trace', 1024, 2_400_000);
  index('huge.trace', 1024);
  const server = await serve(file('huge.trace'), ...SHAPES[1024]);
  note('first picture, with an index', await firstPicture(server.link), 'ms');
  const page = await show(server, 'cycle=100');
  await measureDragging(page, 'frames a second while the hand pans, all of it in sight');
  const zooms = await page.evaluate(() => window.bench.zoom());
  note('frames a second while it zooms in', zooms.frames, '');
  atLeast('zoomed in so many times', zooms.zoom, 'x', 8);
  await startPlaying(page, 60);
  await wait(1500);
  const { steps, draws } = await play(page, 4);
  note('states a second, playing at 60', steps, '');
  note('  pictures a second', draws, '');
  await page.context().close();
  server.end();
}

await launch();
const driver = await (async () => {
  make('small.trace', 64, 20_000);
  const server = await serve(file('small.trace'), ...SHAPES[64]);
  const page = await show(server, 'cycle=0');
  const name = await page.evaluate(() => window.bench.driver());
  await page.context().close();
  server.end();
  return name;
})();
const load = () => `load average ${loadavg()[0].toFixed(1)}`;
console.log(`${cpus().length} x ${cpus()[0].model}; ${execFileSync('uname', ['-sr'], { encoding: 'utf8' }).trim()}; Node ${process.version}; ${driver}; ${load()}`);

make('run.trace', 256, LONG);
const server = await measureOpening('run.trace');
await measureScrubbing(server, 256, 'run.trace');
await measurePlaying(server);
await measureTimeline(server);
await measureEvents(server);
await measureTabs(server);
await measureMemory(server);
server.end();
rmSync(file('run.trace'));
make('run64.trace', 64, LONG);
index('run64.trace', 64);
const small = await serve(file('run64.trace'), ...SHAPES[64]);
await measureScrubbing(small, 64, 'run64.trace');
small.end();
rmSync(file('run64.trace'));
await measureBands();
await measureHuge();
console.log(`\n${notMet()} lines not met; ${load()} at the end`);
await leave();
process.exit(notMet() === 0 ? 0 : 3);
