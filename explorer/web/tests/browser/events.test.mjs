import assert from 'node:assert/strict';
import { readFileSync } from 'node:fs';
import { after, before, test } from 'node:test';

import { barriers, close, cutOff, launch, leave, open, rest, rowsInSight, serve, shell, state, synth, told, tool } from './house.mjs';

const RECORDS = 300_000;
let server;
let trace;

before(async () => {
  await launch();
  trace = synth('run.trace', RECORDS);
  server = await serve(trace, '-c', '4', '-d', '2', '-p', '4');
});

after(() => leave());

const filter = (page) => page.getByRole('textbox', { name: 'Filter events' });

/** Opens the list and filters it. */
async function list(page, words = '') {
  await page.keyboard.press('e');
  await filter(page).waitFor();
  await rest(page);
  if (words !== '') {
    await type(page, words);
  }
}

async function type(page, words) {
  await filter(page).fill(words);
  await page.waitForTimeout(200);
  await rest(page);
}

const count = async (page) =>
  Number((await page.locator('.event-count b').textContent()).replaceAll(',', ''));

/** The rows that are there, as text. */
const rows = (page) =>
  page.locator('.virtual-row').evaluateAll((all) => all.map((row) => row.innerText.split('\n').filter((word) => word !== '')));

test('The list counts what the tool counts', async () => {
  const page = await open(server.link);
  await list(page);
  assert.equal(await count(page), RECORDS);
  await type(page, 'fire');
  const fires = await count(page);
  await type(page, 'send');
  const sends = await count(page);
  await type(page, 'switch');
  assert.equal(fires + sends + (await count(page)), RECORDS);
  await type(page, 'fire thread:1');
  const few = await count(page);
  assert.ok(few > 0 && few < fires);
  await close(page);
});

test('A jump to the middle shows its rows, and every row matches the filter', async () => {
  const page = await open(server.link);
  await list(page, 'thread:1 send');
  await page.getByRole('grid', { name: 'Events' }).evaluate((grid) => {
    grid.scrollTop = grid.scrollHeight / 2;
  });
  await page.waitForTimeout(100);
  await rest(page);
  const shown = await rows(page);
  assert.ok(shown.length > 10);
  for (const row of shown) {
    assert.equal(row[2], 'send', row.join(' '));
    assert.equal(row[3], '1', row.join(' '));
  }
  const records = shown.map((row) => Number(row[0].replaceAll(',', '')));
  assert.ok(records[0] > RECORDS / 4 && records[0] < (RECORDS * 3) / 4);
  assert.deepEqual(records, [...records].sort((a, b) => a - b));
  await close(page);
});

test('The wheel moves row by row, and both ends are reached', async () => {
  const page = await open(server.link);
  await list(page);
  const grid = page.getByRole('grid', { name: 'Events' });
  await grid.focus();
  await page.keyboard.press('End');
  await page.waitForTimeout(100);
  await rest(page);
  assert.equal((await rows(page)).at(-1)[0], (RECORDS - 1).toLocaleString('en-GB'));
  const top = async () => Number((await rows(page))[8][0].replaceAll(',', ''));
  const before = await top();
  const box = await grid.boundingBox();
  await page.mouse.move(box.x + 100, box.y + 100);
  await page.mouse.wheel(0, -220);
  await page.waitForTimeout(100);
  await rest(page);
  assert.ok(Math.abs(before - (await top()) - 10) <= 1, `${before} and ${await top()}`);
  await page.keyboard.press('Home');
  await page.waitForTimeout(100);
  await rest(page);
  assert.equal((await rows(page))[0][0], '0');
  await close(page);
});

test('Rows stay in sight when a filter makes the list shorter, and longer again', async () => {
  const page = await open(server.link, { hash: 'cycle=6000' });
  await list(page);
  for (const words of ['', 'thread:2 fire', 'fire thread:1 cycle<2000', 'send', '']) {
    await type(page, words);
    await page.waitForTimeout(150);
    await rest(page);
    assert.ok((await rowsInSight(page)) >= 5, `${await rowsInSight(page)} rows in sight with "${words}"`);
  }
  await close(page);
});

test('A row that is chosen is gone to, by mouse and by keys, and Enter inspects it', async () => {
  const page = await open(server.link, { hash: 'cycle=3000' });
  await list(page, 'fire');
  await page.locator('.virtual-row').nth(8).click();
  await rest(page);
  const cycleOf = async () =>
    (await page.locator('.virtual-row[aria-selected=true]').innerText()).split('\n').filter((word) => word !== '')[1].replaceAll(',', '');
  assert.equal((await state(page)).cycle, await cycleOf());
  await page.getByRole('grid', { name: 'Events' }).focus();
  for (let i = 0; i < 12; ++i) {
    await page.keyboard.press('ArrowDown');
  }
  await rest(page);
  assert.equal((await state(page)).cycle, await cycleOf());
  await page.keyboard.press('Enter');
  await rest(page);
  assert.equal(await page.getByRole('tab', { name: 'Inspector' }).getAttribute('aria-selected'), 'true');
  assert.ok('record' in (await state(page)).selected);
  await close(page);
});

test('An unknown word says which one is meant, and takes it', async () => {
  const page = await open(server.link);
  await list(page, 'fire tread:1');
  assert.ok((await page.locator('.filter-advice').textContent()).includes('Do you mean thread?'));
  await page.getByRole('button', { name: 'thread:1' }).click();
  await page.waitForTimeout(200);
  await rest(page);
  assert.equal(await filter(page).inputValue(), 'fire thread:1');
  assert.equal(await page.locator('.filter-token').count(), 2);
  await close(page);
});

test('Where nothing matches, a word to leave out is named', async () => {
  const page = await open(server.link);
  await list(page, 'fire cycle>=99999999');
  assert.ok((await page.locator('.event-none').textContent()).includes('No record matches.'));
  await page.getByRole('button', { name: 'cycle>=99999999' }).click();
  await page.waitForTimeout(200);
  await rest(page);
  assert.ok((await count(page)) > 0);
  await close(page);
});

test('What is listed is copied as a table', async () => {
  const page = await open(server.link);
  await list(page, 'fire thread:1 cycle<2000');
  const wanted = await count(page);
  await page.getByRole('button', { name: 'Copy the events' }).click();
  await page.waitForFunction(() => document.querySelector('[role=status].unseen')?.textContent.includes('copied'));
  const copied = await page.evaluate(() => navigator.clipboard.readText());
  const lines = copied.trimEnd().split('\n');
  assert.equal(lines.length, wanted + 1);
  assert.match(lines[1], /^\d+\t\d+\tfire\t1\t/);
  await close(page);
});

test('What is listed is saved as a file, every match of it', async () => {
  const page = await open(server.link);
  await list(page, 'fire thread:1');
  const wanted = await count(page);
  const saving = page.waitForEvent('download');
  await page.getByRole('button', { name: 'Save the events as CSV' }).click();
  const saved = await saving;
  assert.equal(saved.suggestedFilename(), 'run.trace.csv');
  const csv = readFileSync(await saved.path());
  const lines = csv.toString().trimEnd().split('\n');
  assert.equal(lines.length, wanted + 1);
  assert.match(lines[0], /^record,cycle,thread,type/);
  assert.deepEqual(csv, tool('events', 'run.trace', '--format', 'csv', '--thread', '1', '--type', 'fire', '-c', '4', '-d', '2', '-p', '4'));
  await close(page);
});

test('The command of what is listed lists the same in a terminal, also of one end of messages', async () => {
  const page = await open(server.link);
  await list(page, 'fire thread:1 rect:0,0..3,3 cycle<4000');
  const wanted = await count(page);
  await page.getByRole('tabpanel').getByRole('button', { name: 'Copy as command' }).click();
  const command = await told(page);
  assert.match(command, /^marrowfin-trace events \S*run\.trace --cycles 0:3999 --thread 1 --region 0,0:3,3 --type fire -c 4 -d 2 -p 4$/);
  assert.equal(shell(`${command} --count`).trim(), String(wanted));
  await type(page, 'send thread:1');
  const from = (await rows(page)).map((row) => row[4]).find((place) => /^\d+,\d+$/.test(place));
  await type(page, `from:${from}`);
  const sent = await count(page);
  assert.ok(sent > 0);
  await page.getByRole('tabpanel').getByRole('button', { name: 'Copy as command' }).click();
  await page.waitForFunction(() => document.querySelector('.status-notice')?.textContent.includes('awk'));
  assert.equal(shell(await told(page)).trimEnd().split('\n').length, sent + 1);
  await close(page);
});

test('The list and its words are part of the link', async () => {
  const page = await open(server.link);
  await list(page, 'fire thread:1 cycle<2000');
  const wanted = await count(page);
  const other = await open(server.link, { hash: (await state(page)).hash.slice(1) });
  await filter(other).waitFor();
  await other.waitForTimeout(300);
  await rest(other);
  assert.equal(await filter(other).inputValue(), 'fire thread:1 cycle<2000');
  assert.equal(await count(other), wanted);
  await close(other);
  await close(page);
});

test('In a narrow window the list leaves room for the floorplan', async () => {
  const page = await open(server.link, { width: 800, height: 700 });
  await list(page);
  const plan = await page.locator('.shell-plan').boundingBox();
  assert.ok(plan.width >= 340, `${plan.width} pixels`);
  assert.deepEqual(await cutOff(page), []);
  assert.ok((await rowsInSight(page)) >= 5);
  await close(page);
});

test('The next event that words ask for is gone to from the search box', async () => {
  const page = await open(server.link, { hash: 'cycle=3000' });
  const search = async (key) => {
    await page.keyboard.press('/');
    await page.getByRole('dialog').getByRole('combobox').fill('fire thread:2');
    await page.keyboard.press(key);
    await rest(page);
    await page.waitForTimeout(100);
    await rest(page);
    return Number((await state(page)).cycle);
  };
  const start = Number((await state(page)).cycle);
  const next = await search('Enter');
  assert.ok(next > start);
  assert.ok((await search('Enter')) > next);
  assert.equal(await search('Shift+Enter'), next);
  await close(page);
});

test('Nothing stands in the way, and no words are cut off', async () => {
  for (const size of [{ width: 1600 }, { width: 1280, height: 720 }, { width: 1600, text: 200 }]) {
    for (const theme of ['light', 'dark']) {
      const page = await open(server.link, { ...size, theme });
      await list(page, 'fire tread:1');
      assert.deepEqual(await barriers(page), [], `${theme} ${JSON.stringify(size)}`);
      assert.deepEqual(await cutOff(page), [], `${theme} ${JSON.stringify(size)}`);
      await type(page, 'fire thread:1');
      assert.deepEqual(await barriers(page), [], `${theme} ${JSON.stringify(size)}`);
      await close(page);
    }
  }
});
