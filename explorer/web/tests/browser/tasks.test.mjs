// The tasks of docs/explorer.md, done as the guide says. With MARROWFIN_KEEP_PICTURES=1 the pictures of
// the guide are made anew on the way.

import assert from 'node:assert/strict';
import { execFileSync } from 'node:child_process';
import { randomInt } from 'node:crypto';
import { mkdirSync } from 'node:fs';
import { after, before, test } from 'node:test';
import { fileURLToPath } from 'node:url';

import { barriers, close, file, launch, leave, open, rest, rowsInSight, serve, state, told, view } from './house.mjs';

const docs = (name) => fileURLToPath(new URL(`../../../../docs/${name}`, import.meta.url));
const SIZE = { width: 1280, height: 800 };

let stencil;
let mesh;

before(async () => {
  await launch();
  execFileSync(process.env.MARROWFIN_SIM, ['-program', 'stencil', '-outFilename', file('stencil.trace')]);
  execFileSync(process.env.MARROWFIN_MESH, [
    '--traffic', 'hotspot', '--rate', '0.04', '--cycles', '6000', '--trace', file('hotspot.trace'),
  ]);
  stencil = await serve('stencil.trace');
  mesh = await serve('hotspot.trace');
});

after(() => leave());

/** Keeps a picture for the guide, if that is wanted. */
async function picture(page, name) {
  if (process.env.MARROWFIN_KEEP_PICTURES === '1') {
    mkdirSync(docs('explorer'), { recursive: true });
    await page.mouse.move(5, 5);
    await page.waitForTimeout(300);
    await rest(page);
    await page.screenshot({ path: docs(`explorer/${name}.png`) });
  }
}

const inspector = (page) => page.getByRole('tabpanel', { name: 'Inspector' });

/** Drags over a strip of the timeline, from one share of its width to another. */
async function dragStrip(page, from, to) {
  const box = await page.locator('.timeline-area').boundingBox();
  await page.mouse.move(box.x + from * box.width, box.y + 80);
  await page.mouse.down();
  await page.mouse.move(box.x + to * box.width, box.y + 80, { steps: 6 });
  await page.mouse.up();
  await rest(page);
}

async function find(page, text) {
  await page.keyboard.press('/');
  await page.getByRole('dialog').getByRole('combobox').fill(text);
  await page.waitForTimeout(100);
  await rest(page);
  await page.keyboard.press('Enter');
  await page.waitForTimeout(100);
  await rest(page);
}

test('Find the hot spot', async () => {
  const page = await open(stencil.link, { ...SIZE, hash: 'cycle=2000' });
  await dragStrip(page, 0.25, 0.5);
  await page.keyboard.press('3');
  const first = inspector(page).getByRole('button', { name: /^PE / }).first();
  await first.waitFor();
  const name = /PE (\d+,\d+)/.exec(await first.locator('.piece-name').textContent())[1];
  await first.click();
  await rest(page);
  assert.equal((await view(page)).select, `pe:${name}`);
  await picture(page, 'hot-spot');
  await close(page);
});

test('Why is this PE idle', async () => {
  const page = await open(stencil.link, { ...SIZE, hash: 'cycle=1842' });
  await find(page, '10,20');
  assert.match(await inspector(page).textContent(), /fired|no event yet/);
  await page.keyboard.press('c');
  await page.waitForTimeout(300);
  await rest(page);
  assert.ok((await view(page)).layers.includes('c'));
  await picture(page, 'why-idle');
  await close(page);
});

test('Follow one packet', async () => {
  const page = await open(mesh.link, { ...SIZE, width: 1600 });
  await find(page, 'packet 500');
  const rows = page.locator('.virtual-row');
  await rows.first().waitFor();
  const count = await rows.count();
  assert.ok(count >= 2, `${count} events of the packet`);
  await rows.nth(1).click();
  await rest(page);
  await picture(page, 'packet');
  await page.getByRole('grid', { name: 'Events' }).focus();
  await page.keyboard.press('Enter');
  await rest(page);
  assert.match(await inspector(page).textContent(), /packet500/);
  await close(page);
});

test('Where does this thread live', async () => {
  const page = await open(stencil.link, { ...SIZE, width: 1600, hash: 'cycle=1842' });
  await page.keyboard.press('e');
  await page.getByRole('textbox', { name: 'Filter events' }).fill('thread:2 fire');
  await page.waitForTimeout(200);
  await rest(page);
  const shown = await page.locator('.event-count').textContent();
  assert.match(shown, /[\d,]+ of [\d,]+ records match/);
  assert.ok((await rowsInSight(page)) >= 5);
  await picture(page, 'thread');
  await close(page);
});

test('Which link is full, and when did it saturate', async () => {
  const page = await open(mesh.link, { ...SIZE, width: 1600 });
  await page.keyboard.press('l');
  await rest(page);
  const fullest = await page.evaluate(() => window.explorer.state.hash);
  assert.ok(fullest.includes('l'));
  await picture(page, 'full-link');
  await page.goto(`${mesh.link.split('#')[0]}#layers=l&select=link:3,2,up`);
  await page.reload();
  await page.waitForFunction(() => window.explorer?.state.records > 0);
  await rest(page);
  await inspector(page).getByRole('heading', { name: 'Fullest directions' }).waitFor();
  await inspector(page).locator('.piece-row').first().click();
  await page.getByRole('button', { name: 'Pin as a lane' }).click();
  await rest(page);
  assert.match((await view(page)).lanes, /link/);
  await picture(page, 'saturation');
  await close(page);
});

test('What happened before the stall', async () => {
  const page = await open(stencil.link, { ...SIZE, hash: 'cycle=1842&select=pe:10,20&window=1750-1950' });
  await page.keyboard.press('Shift+M');
  const { cycle } = await state(page);
  for (let i = 0; i < 3; ++i) {
    await page.keyboard.press(',');
    await page.waitForTimeout(100);
    await rest(page);
  }
  assert.ok(Number((await state(page)).cycle) < Number(cycle));
  assert.ok((await view(page)).marks.startsWith(cycle));
  await picture(page, 'before-the-stall');
  await close(page);
});

test('Over ssh', async () => {
  const port = String(randomInt(20_000, 30_000)); // as in life.test.mjs
  const args = ['stencil.trace', '--token-file', 'token', '--port'];
  const first = await serve(...args, port);
  assert.match(first.link, /^http:\/\/127\.0\.0\.1:/);
  const page = await open(first.link, { ...SIZE, hash: 'cycle=1842&select=pe:10,20' });
  const { step } = await state(page);
  await first.end('SIGKILL'); // as a connection that breaks: nobody says goodbye
  const alert = page.getByRole('alert');
  await alert.filter({ hasText: 'The server has not answered' }).waitFor({ timeout: 60_000 });
  assert.equal((await state(page)).step, step);
  await picture(page, 'over-ssh');
  const second = await serve(...args, new URL(first.link).port);
  assert.equal(second.link, first.link);
  await page.waitForFunction(() => window.explorer.state.connection === 'connected');
  await rest(page);
  assert.equal(await alert.count(), 0);
  await second.end();
  await page.context().close(); // a browser complains of the connection itself
});

test('Send a colleague this view', async () => {
  const page = await open(stencil.link, { ...SIZE, hash: 'cycle=1842&select=pe:10,20&range=1800-1842' });
  await page.getByRole('button', { name: 'Copy link to this view' }).click();
  const link = await page.evaluate(() => navigator.clipboard.readText());
  assert.ok(!link.includes('token'), link);
  const other = await page.context().newPage(); // of somebody whom the server has let in
  await other.goto(link);
  await other.waitForFunction(() => window.explorer?.state.records > 0);
  await rest(other);
  assert.deepEqual(await view(other), await view(page));
  await picture(other, 'link');
  await close(page);
});

test('A picture for the paper', async () => {
  const page = await open(stencil.link, { ...SIZE, hash: 'cycle=1842&select=pe:10,20&range=1800-1842' });
  await page.getByRole('button', { name: 'Take away' }).click();
  const dialog = page.getByRole('dialog', { name: 'Take away' });
  const saving = page.waitForEvent('download');
  await dialog.getByRole('button', { name: 'Picture of the view as SVG' }).click();
  assert.equal((await saving).suggestedFilename(), 'stencil.trace.view.svg');
  await dialog.getByRole('button', { name: 'Film of the range: copy as command' }).click();
  assert.match(await told(page), /--from 1800 --to 1842/);
  await picture(page, 'take-away');
  await close(page);
});

test('All that followed from an event, and the critical path, are ways through the array', async () => {
  const page = await open(stencil.link, { ...SIZE, hash: 'cycle=1842&select=pe:10,20&layers=c' });
  const choice = page.getByRole('combobox', { name: 'Causes and effects' });
  const section = inspector(page).locator('section', { hasText: 'Causes and effects' });
  for (const [of, words] of [
    ['forward', /events.*As the companion tells\.|inferred/],
    ['back', /events/],
    ['critical', /steps.*at work/],
    ['chain', /steps?,? .*waiting/],
  ]) {
    await choice.selectOption(of);
    await rest(page);
    await page.waitForFunction((pattern) => new RegExp(pattern).test(document.querySelector('.inspector')?.textContent), words.source);
    assert.equal((await view(page)).why, of === 'chain' ? undefined : of);
    assert.match(await section.textContent(), words);
  }
  assert.deepEqual(await barriers(page), []);
  await choice.selectOption('forward');
  await rest(page);
  await page.getByRole('button', { name: 'Copy as command' }).click();
  assert.match(await told(page), /why stencil\.trace --cone forward --pe 10,20 --cycle 1842$/);
  await page.keyboard.press('Escape'); // nothing is selected: the critical path is there all the same
  await choice.selectOption('critical');
  await rest(page);
  assert.match(await section.textContent(), /steps.*at work/);
  await close(page);
});

test('Where messages overlap, in either reading, link load is offered and shown in their place', async () => {
  for (const key of [undefined, 'v']) {
    const page = await open(stencil.link, { width: 1600, height: 1000, hash: 'cycle=1842' });
    if (key !== undefined) {
      await page.keyboard.press(key);
      await rest(page);
    }
    await page.getByRole('button', { name: 'Show link load' }).click();
    await rest(page);
    assert.equal((await view(page)).layers, 'sl');
    assert.equal(await page.getByRole('button', { name: 'Show link load' }).count(), 0);
    await close(page);
  }
});
