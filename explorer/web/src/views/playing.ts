import { effect } from '@preact/signals';

import type { Explorer } from '../model/explorer';

/** Lets the player step before each frame while it plays; returns what ends that. */
export function followPlaying(explorer: Explorer): () => void {
  let handle: number | undefined;
  const tick = (now: number) => {
    explorer.player.tick(now);
    handle = explorer.playback.playing.peek() ? requestAnimationFrame(tick) : undefined;
  };
  return effect(() => {
    if (explorer.playback.playing.value) {
      handle ??= requestAnimationFrame(tick);
    }
  });
}
