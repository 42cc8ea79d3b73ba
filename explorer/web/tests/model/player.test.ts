import { expect, test } from 'vitest';

import { openSmall, settled, STEPS, type Opened } from '../fixtures/smallTrace';

/** Frames of 1/60 s for some seconds. Answers come between the frames. */
async function play({ explorer }: Opened, seconds: number): Promise<void> {
  let now = 1000;
  for (let frame = 0; frame <= seconds * 60; ++frame) {
    explorer.player.tick(now);
    now += 1000 / 60;
    await new Promise((resolve) => setImmediate(resolve));
  }
  await settled(explorer);
}

const at = ({ explorer }: Opened) => explorer.playback.picture.value?.step ?? -1;

test('Playing goes as fast as it is told, forward and backward', async () => {
  const opened = await openSmall();
  const { explorer } = opened;
  explorer.player.toggle();
  await play(opened, 3);
  expect(at(opened)).toBeGreaterThanOrEqual(27);
  expect(at(opened)).toBeLessThanOrEqual(31);
  explorer.playback.speed.value = -10;
  await play(opened, 1);
  expect(at(opened)).toBeLessThanOrEqual(23);
});

test('Playing stops at the end, and begins again from the start', async () => {
  const opened = await openSmall();
  const { explorer } = opened;
  explorer.playback.speed.value = 120;
  explorer.player.toggle();
  await play(opened, 2);
  expect(at(opened)).toBe(STEPS - 1);
  expect(explorer.playback.playing.value).toBe(false);
  explorer.player.toggle();
  await settled(explorer);
  expect(at(opened)).toBe(0);
  expect(explorer.playback.playing.value).toBe(true);
});

test('A loop stays within the range', async () => {
  const opened = await openSmall();
  const { explorer } = opened;
  explorer.time.range.value = { first: 200n, last: 300n };
  explorer.playback.loop.value = true;
  explorer.playback.speed.value = 60;
  explorer.player.toggle();
  await settled(explorer);
  for (let i = 0; i < 6; ++i) {
    await play(opened, 0.2);
    expect(at(opened)).toBeGreaterThanOrEqual(20);
    expect(at(opened)).toBeLessThanOrEqual(30);
  }
  expect(explorer.playback.playing.value).toBe(true);
});

test('Changes are fetched ahead, not one by one', async () => {
  const opened = await openSmall();
  const { engine, explorer } = opened;
  explorer.player.toggle();
  await play(opened, 3);
  const asked = engine.asked.filter(({ ask }) => ask === 'steps');
  expect(asked.length).toBeLessThanOrEqual(4);
});

test('A page that slept does not rush through what it missed', async () => {
  const opened = await openSmall();
  const { explorer } = opened;
  explorer.player.toggle();
  explorer.player.tick(1000);
  explorer.player.tick(61_000);
  await settled(explorer);
  explorer.player.tick(61_016);
  await settled(explorer);
  expect(at(opened)).toBeGreaterThan(0);
  expect(at(opened)).toBeLessThanOrEqual(6);
});

test('Steps that slow frames and late answers delay are made up for', async () => {
  const opened = await openSmall();
  const { explorer } = opened;
  explorer.playback.speed.value = 60;
  explorer.player.toggle();
  explorer.player.tick(1000);
  explorer.player.tick(1200); // before any answer has come
  await settled(explorer);
  for (let now = 1400; now <= 2000; now += 200) {
    explorer.player.tick(now);
    await settled(explorer);
  }
  expect(at(opened)).toBe(60);
});
