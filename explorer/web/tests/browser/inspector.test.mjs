import assert from 'node:assert/strict';
import { after, before, test } from 'node:test';

import { barriers, close, cutOff, launch, leave, open, rest, serve, state, synth, view } from './house.mjs';

let server;

before(async () => {
  await launch();
  server = await serve(synth('run.trace', 100_000), '-c', '4', '-d', '2', '-p', '4');
});

after(() => leave());

const panel = (page) => page.getByRole('tabpanel', { name: 'Inspector' });
const headings = (page) => panel(page).getByRole('heading').allTextContents();

test('A piece tells what it shows, its run, what is around the playhead, and its neighbours', async () => {
  const page = await open(server.link, { hash: 'cycle=4000&range=3000-5000' });
  await panel(page).getByRole('button', { name: /^PE / }).first().waitFor();
  const first = panel(page).getByRole('button', { name: /^PE / }).first();
  const name = /PE (\d+),(\d+)/.exec(await first.locator('.piece-name').textContent());
  await first.click();
  await rest(page);
  assert.equal((await view(page)).select, `pe:${name[1]},${name[2]}`);
  assert.deepEqual((await headings(page)).slice(0, 3), [name[0], 'In the range, of all', 'Around the playhead']);
  const fires = panel(page).locator('.number-row', { hasText: 'Fires' });
  const [, part, all] = /([\d,]+) of ([\d,]+)/.exec(await fires.textContent()).map((text) => Number(text.replaceAll(',', '')));
  assert.ok(0 < part && part < all, `${part} of ${all}`);
  assert.ok((await panel(page).textContent()).includes('Shows'));
  assert.ok((await panel(page).locator('.event-line').count()) >= 5);
  await close(page);
});

test('Previous and next event walk from cycle to cycle, and back again', async () => {
  const page = await open(server.link, { hash: 'cycle=4000&range=3000-5000' });
  await panel(page).getByRole('button', { name: /^PE / }).first().click();
  await rest(page);
  const walk = async (key) => {
    await page.keyboard.press(key);
    await page.waitForTimeout(150);
    await rest(page);
    return Number((await state(page)).cycle);
  };
  const start = Number((await state(page)).cycle);
  const before = await walk(',');
  assert.ok(before < start, `${before} before ${start}`);
  const earlier = await walk(',');
  assert.ok(earlier < before, `${earlier} before ${before}`);
  assert.equal(await walk('.'), before);
  await close(page);
});

test('A line of what is around the playhead goes there', async () => {
  const page = await open(server.link, { hash: 'cycle=4000&range=3000-5000' });
  await panel(page).getByRole('button', { name: /^PE / }).first().click();
  await rest(page);
  const line = panel(page).locator('.event-line').first();
  const cycle = (await line.locator('.event-cycle').textContent()).replaceAll(',', '');
  await line.click();
  await page.waitForTimeout(100);
  await rest(page);
  assert.equal((await state(page)).cycle, cycle);
  await close(page);
});

test('A cluster shows its PEs, its sums in the range, and the busiest of its like', async () => {
  const page = await open(server.link, { hash: 'cycle=4000&range=3000-5000&select=cluster:1,2' });
  await panel(page).getByRole('heading', { name: 'Busiest clusters' }).waitFor();
  const found = await headings(page);
  assert.equal(found[0], 'Cluster 1,2');
  assert.ok(found.includes('In the range'));
  const text = await panel(page).textContent();
  assert.match(text, /rank \d+ of 16 clusters/);
  const canvas = panel(page).locator('canvas');
  const painted = await canvas.evaluate((element) =>
    element.getContext('2d').getImageData(0, 0, element.width, element.height).data.some((value) => value > 0),
  );
  assert.ok(painted);
  await panel(page).getByRole('button', { name: /^Cluster / }).first().click();
  assert.match((await view(page)).select, /^cluster:/);
  await close(page);
});

test('A link tells how full it is, and the fullest ones are a click away', async () => {
  const page = await open(server.link, { hash: 'select=link:1,1,right' });
  await panel(page).getByRole('heading', { name: 'Fullest directions' }).waitFor();
  assert.equal((await headings(page))[0], 'Link 1,1 → 2,1');
  assert.match(await panel(page).textContent(), /rank \d+ of \d+ links/);
  await panel(page).locator('.piece-row').first().click();
  await rest(page);
  assert.match((await view(page)).select, /^link:/);
  await close(page);
});

test('Where nothing is selected, the range is told, and else the whole run', async () => {
  const page = await open(server.link, { hash: 'range=3000-5000' });
  await panel(page).getByRole('heading', { name: 'Busiest PEs' }).waitFor();
  assert.equal((await headings(page))[0], 'Cycles 3,000–5,000');
  await panel(page).getByRole('button', { name: 'Clear the range' }).click();
  await rest(page);
  assert.equal((await headings(page))[0], 'Nothing selected');
  assert.ok((await panel(page).textContent()).includes('Whole run instead'));
  await close(page);
});

test('The panel closes and comes back by its key, and its width is dragged', async () => {
  const page = await open(server.link);
  const width = async () => (await page.getByRole('complementary').boundingBox()).width;
  const before = await width();
  const edge = page.getByRole('separator', { name: 'Width of the panel' });
  const box = await edge.boundingBox();
  await page.mouse.move(box.x + 2, box.y + 200);
  await page.mouse.down();
  await page.mouse.move(box.x - 98, box.y + 200, { steps: 4 });
  await page.mouse.up();
  assert.ok(Math.abs((await width()) - before - 100) <= 2);
  await edge.dblclick();
  assert.ok(Math.abs((await width()) - before) <= 1);
  await page.keyboard.press('q');
  assert.equal(await page.getByRole('complementary').count(), 0);
  await page.keyboard.press('q');
  assert.equal(await page.getByRole('complementary').count(), 1);
  await close(page);
});

test('Nothing stands in the way whatever is selected, and no words are cut off', async () => {
  const picks = ['', 'select=pe:3,7', 'select=switch:1,1', 'select=cluster:1,2', 'select=domain:1,1', 'select=link:1,1,right', 'range=3000-5000'];
  const sizes = [{ width: 1600 }, { width: 1280, height: 720, theme: 'dark' }, { width: 1600, text: 200 }];
  for (const size of sizes) {
    const page = await open(server.link, { ...size, hash: `cycle=4000&${picks[0]}` });
    for (const pick of picks) {
      await page.evaluate((hash) => (location.hash = hash), `cycle=4000&${pick}`);
      await page.waitForTimeout(200);
      await rest(page);
      assert.deepEqual(await barriers(page), [], `${pick} ${JSON.stringify(size)}`);
      assert.deepEqual(await cutOff(page), [], `${pick} ${JSON.stringify(size)}`);
    }
    await close(page);
  }
});
