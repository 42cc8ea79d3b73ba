import assert from 'node:assert/strict';
import { after, before, test } from 'node:test';

import { barriers, close, cutOff, launch, leave, open, rest, serve, state, synth, view } from './house.mjs';

let server;

before(async () => {
  await launch();
  server = await serve(synth('run.trace', 100_000), '-c', '4', '-d', '2', '-p', '4');
});

after(() => leave());

const box = (page) => page.getByRole('combobox', { name: 'Find a place, cycle or event' });
const results = (page) => page.getByRole('dialog').getByRole('option').allTextContents();

/** Opens the box, types, and chooses the first result. */
async function go(page, text) {
  await page.keyboard.press('/');
  await box(page).fill(text);
  await page.keyboard.press('Enter');
  await rest(page);
}

test('A place is found by its numbers, and is selected', async () => {
  const page = await open(server.link);
  await go(page, '3,7');
  assert.equal((await view(page)).select, 'pe:3,7');
  await go(page, 'cluster 1 2');
  assert.equal((await view(page)).select, 'cluster:1,2');
  await page.keyboard.press('/');
  await box(page).fill('pe 99,99');
  assert.deepEqual(await results(page), []);
  await page.keyboard.press('Escape');
  await close(page);
});

test('A cycle and a step are gone to, and the keys then belong to the page again', async () => {
  const page = await open(server.link);
  await go(page, 'step 40');
  assert.equal((await state(page)).step, 40);
  await page.keyboard.press('ArrowRight');
  await rest(page);
  assert.equal((await state(page)).step, 41);
  await page.keyboard.press('g');
  assert.equal(await box(page).inputValue(), 'cycle ');
  await box(page).fill('cycle 2000');
  await page.keyboard.press('Enter');
  await rest(page);
  assert.ok(Number((await state(page)).cycle) > 1500 && Number((await state(page)).cycle) <= 2000);
  await close(page);
});

test('A number alone offers a cycle and a step, and the arrows choose', async () => {
  const page = await open(server.link);
  await page.keyboard.press('Control+f');
  await box(page).fill('25');
  assert.deepEqual(await results(page), ['Cycle 25', 'Step 25']);
  await page.keyboard.press('ArrowDown');
  await page.keyboard.press('Enter');
  await rest(page);
  assert.equal((await state(page)).step, 25);
  await close(page);
});

test('Commands are found by a few letters, and only those that can do something', async () => {
  const page = await open(server.link);
  await page.keyboard.press('Control+Shift+p');
  assert.equal(await box(page).inputValue(), '>');
  await box(page).fill('>lin');
  assert.ok((await results(page)).some((text) => text.startsWith('Show link load')));
  await box(page).fill('>range clear');
  assert.deepEqual(await results(page), []);
  await box(page).fill('>link load');
  await page.keyboard.press('Enter');
  await rest(page);
  assert.ok((await view(page)).layers.includes('l'));
  await close(page);
});

test('No letter that is typed runs a command', async () => {
  const page = await open(server.link);
  const before = (await state(page)).hash;
  await page.keyboard.press('/');
  await page.keyboard.type('hvtlcm1234 qe');
  await page.keyboard.press('Escape');
  assert.equal((await state(page)).hash, before);
  assert.equal(await page.getByRole('dialog').count(), 0);
  await close(page);
});

test('All keys are listed, and the keys work', async () => {
  const page = await open(server.link);
  await page.keyboard.press('?');
  const text = await page.getByRole('dialog', { name: 'All keys' }).textContent();
  for (const words of ['Play or pause', 'Space', 'Zoom timeline', 'Deselect, close', 'wheel']) {
    assert.ok(text.includes(words), words);
  }
  await page.keyboard.press('t');
  assert.equal((await view(page)).layers, undefined);
  await page.keyboard.press('Escape');
  await page.keyboard.press('t');
  assert.equal((await view(page)).layers, 's');
  await close(page);
});

test('A moment is marked, named, found, gone to and removed', async () => {
  const page = await open(server.link, { hash: 'select=pe:3,7' });
  await go(page, 'step 40');
  const { cycle } = await state(page);
  await page.keyboard.press('Shift+M');
  await page.getByRole('button', { name: 'Marks' }).click();
  await page.getByRole('textbox', { name: 'Name of the mark' }).fill('before the stall');
  await page.keyboard.press('Tab');
  await page.keyboard.press('Escape');
  assert.ok((await view(page)).marks.startsWith(`${cycle}%3A`), (await view(page)).marks);
  await page.keyboard.press('Escape');
  await page.keyboard.press('Home');
  await rest(page);
  await go(page, 'stall');
  assert.equal((await state(page)).cycle, cycle);
  assert.equal((await view(page)).select, 'pe:3,7');
  await page.keyboard.press('Delete');
  assert.equal((await view(page)).marks, undefined);
  await close(page);
});

test('Nothing stands in the way in any dialog, and no words are cut off', async () => {
  const sizes = [{ width: 1600 }, { width: 1280, height: 720 }, { width: 1600, text: 200 }, { width: 800 }];
  for (const size of sizes) {
    for (const theme of ['light', 'dark']) {
      const page = await open(server.link, { ...size, theme, hash: 'marks=50:here' });
      for (const [key, typed] of [['?', ''], ['Control+Shift+p', 'show'], ['/', '3,7']]) {
        await page.keyboard.press(key);
        await page.getByRole('dialog').waitFor();
        await page.keyboard.type(typed);
        assert.deepEqual(await barriers(page), [], `${key} ${theme} ${JSON.stringify(size)}`);
        assert.deepEqual(await cutOff(page), [], `${key} ${theme} ${JSON.stringify(size)}`);
        await page.keyboard.press('Escape');
      }
      await page.getByRole('button', { name: 'Marks' }).click();
      assert.deepEqual(await barriers(page), [], `marks ${theme}`);
      await close(page);
    }
  }
});
