// The colours of the floorplan against the engine's own answers, in every channel, at moments of several
// traces. MARROWFIN_MOMENTS tells at how many of each.

import assert from 'node:assert/strict';
import { writeFileSync } from 'node:fs';
import { after, before, test } from 'node:test';

import { close, file, launch, leave, open as openView, serve, state, tool } from './house.mjs';
import { boxesOf, coloursAt, coloursOf, engineState, follow, numbers } from './plan.mjs';

const MOMENTS = Number(process.env.MARROWFIN_MOMENTS ?? 6);
const LONG = { timeout: 120_000 + 1000 * MOMENTS }; // milliseconds: what hangs ends, and no test is about speed

/** Arrays whose levels differ, of which none has elements that the viewer draws over each other. */
const TRACES = [
  { name: 'levels.trace', flags: ['-c', '2', '-d', '2', '-p', '4'], side: 16, synth: ['--seed', '3'] },
  { name: 'one.trace', flags: ['-c', '1', '-d', '1', '-p', '8'], side: 8, synth: ['--seed', '4', '--threads', '9'] },
  { name: 'odd.trace', flags: ['-c', '3', '-d', '1', '-p', '5'], side: 15, synth: ['--seed', '5', '--random'] },
  { name: 'three.trace', flags: ['-c', '3', '-d', '2', '-p', '3'], side: 18, synth: ['--seed', '6'] },
  { name: 'large.trace', flags: ['-c', '4', '-d', '2', '-p', '8'], side: 64, synth: ['--seed', '7', '--threads', '7'] },
];

// A run on more columns than rows, which its companion tells.
const WIDE = { columns: 32, rows: 16, flags: ['-c', '2', '-d', '2', '-p', '4'] };
const ABOUT = `format = 1
name = "a wide array"

[array]
clusters = { columns = 4, rows = 2 }
domains = { columns = 2, rows = 2 }
pes = { columns = 4, rows = 4 }
`;

const servers = new Map();

before(async () => {
  await launch();
  for (const { name, flags, synth } of TRACES) {
    tool('synth', '-o', name, '--records', '20000', ...flags, ...synth);
    servers.set(name, await serve(file(name), ...flags));
  }
  tool('synth', '-o', 'wide.trace', '--records', '20000', ...WIDE.flags);
  writeFileSync(file('wide.trace.about'), ABOUT);
  servers.set('wide.trace', await serve(file('wide.trace')));
}, LONG);

after(() => leave());

const open = (name, hash, options = {}) => openView(servers.get(name).link, { hash, width: 1000, height: 700, ...options });

/** Compares some moments, and that they are not all the same. */
async function compare(page, { name, flags, side, skip }, moments) {
  const seen = new Set();
  const skipping = skip === undefined ? [] : ['-F', skip];
  for (const step of moments) {
    await follow(page, `reading=viewer&step=${step}${skip === undefined ? '' : `&skip=${skip}`}&layers=s`);
    assert.equal((await state(page)).step, step);
    const colours = await coloursOf(page, side);
    assert.deepEqual(colours, engineState(name, '--step', step, ...skipping, ...flags).elements, `${name}, step ${step}`);
    seen.add(JSON.stringify(colours));
  }
  assert.ok(seen.size > moments.length / 2, 'the moments differ');
}

const someOf = (seed, count, most) => {
  const random = numbers(seed);
  return [0, 1, 2, ...Array.from({ length: count }, () => Math.floor(random.next().value / 7) % most)];
};

for (const trace of TRACES) {
  test(`In the viewer's reading all elements have the engine's colours: ${trace.name}`, LONG, async () => {
    const page = await open(trace.name, 'reading=viewer&step=0&layers=s');
    await compare(page, trace, someOf(7, MOMENTS, 200));
    await close(page);
  });
}

for (const skip of [1, 60, 700]) {
  test(`In the viewer's reading they have them where it skips to cycle ${skip}`, LONG, async () => {
    const page = await open('levels.trace', `reading=viewer&step=0&skip=${skip}&layers=s`);
    await compare(page, { ...TRACES[0], skip }, someOf(skip, MOMENTS / 3, 300));
    await close(page);
  });
}

for (const ratio of [1.25, 2]) {
  test(`In the viewer's reading they have them at ${ratio} pixels a pixel`, LONG, async () => {
    const page = await open('levels.trace', 'reading=viewer&step=0&layers=s', { ratio });
    await compare(page, TRACES[0], someOf(9, MOMENTS / 2, 300));
    await close(page);
  });
}

const middle = ({ x, y, width, height }) => ({ x: x + width / 2, y: y + height / 2 });

for (const { name, flags } of TRACES.filter((trace) => trace.flags[1] !== '1')) {
  test(`In the viewer's reading all switches have the engine's colours: ${name}`, LONG, async () => {
    const page = await open(name, 'reading=viewer&step=0&layers=s');
    const seen = new Set();
    for (const step of someOf(17, MOMENTS, 200)) {
      await follow(page, `reading=viewer&step=${step}&layers=s`);
      const { switches } = engineState(name, '--step', step, ...flags);
      const places = switches.flatMap((line, row) => line.map((_, column) => ({ switch: [column, row] })));
      const colours = await coloursAt(page, (await boxesOf(page, places)).map(middle));
      assert.deepEqual(colours, switches.flat(), `${name}, step ${step}`);
      colours.forEach((colour) => seen.add(colour));
    }
    assert.ok(seen.size > 3, 'several colours are seen');
    await close(page);
  });
}

/** How far a spot is outside of a band; less than 0 within. Ends are straight. */
function outside({ x, y }, [a, b], half) {
  const length = Math.hypot(b.x - a.x, b.y - a.y);
  const [dx, dy] = [(b.x - a.x) / length, (b.y - a.y) / length];
  const along = (x - a.x) * dx + (y - a.y) * dy;
  return Math.max(Math.abs((y - a.y) * dx - (x - a.x) * dy) - half, -along, along - length);
}

/** The band that lies on top at a spot; undefined where a band's edge is too near to tell. */
function topmost(spot, bands, half) {
  const away = bands.map((band) => outside(spot, band, half));
  return away.some((each) => Math.abs(each) < 1.5) ? undefined : away.findLastIndex((each) => each < 0);
}

/** Bands run between the lower left corners of elements, two eighths of the way to the next element wide. */
async function bandsOf(page, messages) {
  const [first, second] = await boxesOf(page, [{ pe: [0, 0] }, { pe: [1, 0] }]);
  const unit = (second.x - first.x) / 8;
  const ends = await boxesOf(page, messages.flatMap(({ from, to }) => [{ pe: from }, { pe: to }]));
  const corners = ends.map(({ x, y, height }) => ({ x: x + unit / 2, y: y + height - unit / 2 }));
  return { half: unit, bands: messages.map((_, i) => [corners[2 * i], corners[2 * i + 1]]) };
}

for (const { name, flags } of [TRACES[0], TRACES[1], TRACES[3]]) {
  test(`In the viewer's reading all messages have the engine's colours: ${name}`, LONG, async () => {
    const page = await open(name, 'reading=viewer&step=0&layers=m', { width: 1600, height: 1200 });
    const seen = new Set();
    let compared = 0;
    for (const step of someOf(27, MOMENTS, 200)) {
      await follow(page, `reading=viewer&step=${step}&layers=m`);
      const messages = engineState(name, '--step', step, ...flags).messages.filter(({ from, to }) => String(from) !== String(to));
      assert.ok((await state(page)).messages >= messages.length);
      const { bands, half } = await bandsOf(page, messages);
      const spots = bands.map(([a, b]) => ({ x: Math.floor((a.x + b.x) / 2) + 0.5, y: Math.floor((a.y + b.y) / 2) + 0.5 }));
      const colours = await coloursAt(page, spots);
      spots.forEach((spot, i) => {
        const top = topmost(spot, bands, half);
        if (top !== undefined) {
          assert.equal(colours[i], messages[top].color, `${name}, step ${step}, message ${i} under ${top}`);
          seen.add(messages[top].age);
          compared += 1;
        }
      });
    }
    assert.ok(compared > 20 && seen.size > 3, `${compared} bands of ${seen.size} ages are compared`);
    await close(page);
  });
}

// Threads and ages have colours of the page's own here: which stands for which must be the same everywhere.
for (const [name, flags, columns, rows] of [
  ['wide.trace', [], WIDE.columns, WIDE.rows],
  ['levels.trace', TRACES[0].flags, 16, 16],
]) {
  test(`In the natural reading a colour is a thread and an age, and no other: ${name}`, LONG, async () => {
    const page = await open(name, 'cycle=0&layers=s');
    const meanings = new Map();
    const random = numbers(11);
    for (let i = 0; i < MOMENTS; ++i) {
      const cycle = Math.floor(random.next().value / 7) % 2000;
      await follow(page, `cycle=${cycle}&layers=s`);
      const colours = await coloursOf(page, columns, rows);
      // What no event has touched has a dot in its middle, which even cells have beside it.
      const told = new Map(
        engineState(name, '--cycle', cycle, ...flags, '--places')
          .places.filter(({ piece }) => piece === 'element')
          .map(({ at, thread, age }) => [at.join(), `thread ${thread % 6}, age ${Math.min(age, 4)}`]),
      );
      colours.forEach((line, row) =>
        line.forEach((colour, column) => {
          const meaning = told.get([column, row].join());
          assert.equal(meanings.has(colour) ? meanings.get(colour) : meaning, meaning, `${colour} at ${column},${row} in cycle ${cycle}`);
          meanings.set(colour, meaning);
        }),
      );
    }
    const touched = [...meanings.values()].filter((meaning) => meaning !== undefined);
    assert.equal(new Set(touched).size, touched.length, 'each thread and age has one colour');
    assert.ok(touched.length > 5, 'several threads and ages are seen');
    await close(page);
  });
}
