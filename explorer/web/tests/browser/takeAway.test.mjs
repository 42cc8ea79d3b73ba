import assert from 'node:assert/strict';
import { existsSync, readFileSync, unlinkSync, writeFileSync } from 'node:fs';
import { after, before, test } from 'node:test';

import { barriers, close, cutOff, file, launch, leave, open, rest, serve, shell, synth, told, tool } from './house.mjs';

const SHAPE = ['-c', '4', '-d', '2', '-p', '4'];
let server;

before(async () => {
  await launch();
  server = await serve(synth('run.trace', 60_000), ...SHAPE);
});

after(() => leave());

const dialog = (page) => page.getByRole('dialog', { name: 'Take away' });

async function takeAway(page) {
  await page.getByRole('button', { name: 'Take away' }).click();
  await dialog(page).getByRole('listitem').first().waitFor();
}

/** Presses a button of the dialog and has what it saves. */
async function saved(page, name) {
  const saving = page.waitForEvent('download');
  await dialog(page).getByRole('button', { name, exact: true }).click();
  const one = await saving;
  return { name: one.suggestedFilename(), bytes: readFileSync(await one.path()) };
}

test('What is taken away has the bytes of the command that is copied beside it', async () => {
  const page = await open(server.link, { hash: 'cycle=800&range=700-760' });
  await takeAway(page);
  await page.getByRole('combobox', { name: 'What is plotted' }).selectOption('threads');
  for (const [button, line] of [['Plot as SVG', 'Plot'], ['Report as HTML', 'Report'], ['Film of the range as MP4', 'Film of the range'], ['Range as a trace as mfz', 'Range as a trace']]) {
    const { name, bytes } = await saved(page, button);
    await dialog(page).getByRole('button', { name: `${line}: copy as command` }).click();
    await page.waitForFunction((ending) => document.querySelector('.status-notice')?.textContent.endsWith(ending), name);
    const command = await told(page);
    assert.ok(command.endsWith(` -o ${name}`), `${command} and ${name}`);
    shell(`${command} --force`);
    assert.deepEqual(bytes, readFileSync(file(name)), command);
  }
  const raw = await saved(page, 'Range as a trace as trace');
  shell(`marrowfin-trace cut ${file('run.trace')} --cycles 700:760 ${SHAPE.join(' ')} -o raw.trace`);
  assert.deepEqual(raw.bytes, readFileSync(file('raw.trace')));
  const numbers = await saved(page, 'Numbers as JSON');
  assert.deepEqual(numbers.bytes, tool('stats', file('run.trace'), '--cycles', '700:760', '--json', ...SHAPE));
  const events = await saved(page, 'Events as CSV');
  assert.deepEqual(events.bytes, tool('events', file('run.trace'), '--format', 'csv', '--cycles', '700:760', ...SHAPE));
  await close(page);
});

test('The picture of the view is as the page shows it, as pixels and as shapes', async () => {
  const page = await open(server.link, { hash: 'cycle=800&select=pe:3,4' });
  await takeAway(page);
  const png = await saved(page, 'Picture of the view as PNG');
  const svg = await saved(page, 'Picture of the view as SVG');
  assert.deepEqual([png.name, svg.name], ['run.trace.view.png', 'run.trace.view.svg']);
  const text = svg.bytes.toString();
  assert.ok(text.includes('>Threads, last fire on a PE</text>') && text.includes('>cycle 800</text>'));
  assert.ok(text.includes('@font-face{font-family:Inter;') && /base64,d09GMg/.test(text), 'the font is in the file');
  assert.equal(png.bytes.subarray(1, 4).toString(), 'PNG');
  await page.keyboard.press('Escape');
  // Both show the same, but for the font of their words; a later moment shows something else.
  const compared = await page.evaluate(
    async ([png64, svgText]) => {
      const pixelsOf = async (source) => {
        const image = new Image();
        image.src = source;
        await image.decode();
        const canvas = document.createElement('canvas');
        [canvas.width, canvas.height] = [image.width, image.height];
        const context = canvas.getContext('2d');
        context.drawImage(image, 0, 0);
        return context.getImageData(0, 0, image.width, image.height);
      };
      const blob = (part, type) => URL.createObjectURL(new Blob([part], { type }));
      const bytes = Uint8Array.from(atob(png64), (letter) => letter.charCodeAt(0));
      const [a, b] = [await pixelsOf(blob(bytes, 'image/png')), await pixelsOf(blob(svgText, 'image/svg+xml'))];
      let unlike = 0;
      for (let i = 0; i < a.data.length; i += 4) {
        unlike += [0, 1, 2].some((c) => Math.abs(a.data[i + c] - b.data[i + c]) > 90) ? 1 : 0;
      }
      return { sizes: [a.width, a.height, b.width, b.height], unlike: unlike / (a.width * a.height) };
    },
    [png.bytes.toString('base64'), text],
  );
  assert.deepEqual(compared.sizes.slice(0, 2), compared.sizes.slice(2));
  assert.ok(compared.unlike < 0.01, `${compared.unlike} of all pixels differ`);
  const other = await open(server.link, { hash: 'cycle=1500&select=pe:3,4' });
  await takeAway(other);
  assert.notDeepEqual((await saved(other, 'Picture of the view as SVG')).bytes, svg.bytes);
  await close(other);
  await close(page);
});

test('The command of the view draws the moment that is shown, in either reading', async () => {
  for (const [hash, words] of [
    ['cycle=800', /render \S+run\.trace --natural --theme light --cycle 800 -c 4 -d 2 -p 4 -o run\.trace\.png$/],
    ['cycle=800&reading=viewer&step=700', /render \S+run\.trace --step 700 -c 4 -d 2 -p 4 -o run\.trace\.png$/],
    ['cycle=800&colour=heat&range=10-90', /plot heat \S+run\.trace --measure fires --cycles 10:90 --theme light -c 4 -d 2 -p 4 -o/],
    ['cycle=800&layers=l', /plot links \S+run\.trace --theme light -c 4/],
  ]) {
    const page = await open(server.link, { hash });
    await takeAway(page);
    await dialog(page).getByRole('button', { name: 'Picture of the view: copy as command' }).click();
    const command = await told(page);
    assert.match(command, words);
    shell(`${command} --force`);
    await close(page);
  }
});

test('The command of the selected tells of it in a terminal', async () => {
  const page = await open(server.link, { hash: 'cycle=800&select=pe:3,4&range=10-900' });
  await page.getByRole('button', { name: 'Copy as command' }).click();
  const events = await told(page);
  assert.match(events, /events \S+run\.trace --cycles 10:900 --region 3,4 -c 4 -d 2 -p 4$/);
  assert.ok(shell(events).split('\n').length > 3);
  await page.keyboard.press('c');
  await rest(page);
  await page.getByRole('button', { name: 'Copy as command' }).click();
  await page.waitForFunction(() => document.querySelector('.status-notice')?.textContent.includes(' why '));
  assert.ok(shell(await told(page)).length > 0);
  await close(page);
});

test('What cannot be made says why, and what takes long can be cancelled', async () => {
  const page = await open(server.link, { hash: 'cycle=800&range=1-2000' });
  await takeAway(page);
  await page.getByRole('combobox', { name: 'What is plotted' }).selectOption('latency');
  await dialog(page).getByRole('button', { name: 'Plot as PNG' }).click();
  await page.waitForFunction(() => document.querySelector('.take-foot')?.textContent.includes('marrowfin-trace'));
  await dialog(page).getByRole('button', { name: 'Film of the range as MP4' }).click();
  await dialog(page).getByRole('button', { name: 'Cancel' }).click();
  await dialog(page).getByRole('button', { name: 'Cancel' }).waitFor({ state: 'detached' });
  page.complaints = page.complaints.filter((one) => !one.includes('422')); // which the browser tells by itself
  await close(page);
});

test('Marks are written beside the trace when that is asked for, and found there by the next one', async () => {
  const page = await open(server.link, { hash: 'cycle=800&marks=500:early' });
  await page.keyboard.press('Shift+M');
  await rest(page);
  assert.ok(!existsSync(file('run.trace.marks')));
  await page.getByRole('button', { name: 'Marks' }).click();
  await page.getByRole('button', { name: 'Save beside the trace' }).click();
  await page.waitForFunction(() => document.querySelector('.marks-note')?.textContent.includes('are saved'));
  const kept = JSON.parse(readFileSync(file('run.trace.marks'), 'utf8'));
  assert.deepEqual(kept.marks.map(({ name, cycle }) => [name, cycle]), [['early', '500'], ['mark 2', '800']]);
  await close(page);
  const next = await open(server.link);
  assert.match(decodeURIComponent(decodeURIComponent(await next.evaluate(() => window.explorer.state.hash))), /marks=500:early;800:mark/);
  await close(next);
  writeFileSync(file('run.trace.marks'), 'something else');
  const broken = await open(server.link);
  await broken.getByRole('button', { name: 'Marks' }).click();
  assert.match(await broken.locator('.marks-note').textContent(), /run\.trace\.marks/);
  broken.complaints = broken.complaints.filter((one) => !one.includes('422'));
  await close(broken);
  unlinkSync(file('run.trace.marks'));
});

test('Nothing stands in the way in the dialog, and no words are cut off', async () => {
  for (const size of [{ width: 1600 }, { width: 1280, height: 720 }, { width: 800 }, { width: 1600, text: 200 }]) {
    for (const theme of ['light', 'dark']) {
      const page = await open(server.link, { ...size, theme, hash: 'cycle=800&range=10-90&select=pe:3,4' });
      await takeAway(page);
      assert.deepEqual(await barriers(page), [], `${theme} ${JSON.stringify(size)}`);
      assert.deepEqual(await cutOff(page), [], `${theme} ${JSON.stringify(size)}`);
      await close(page);
    }
  }
});
