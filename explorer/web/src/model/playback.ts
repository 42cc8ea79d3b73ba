import { computed, signal } from '@preact/signals';

import type { Picture } from '../base/picture';
import type { Position } from './moment';

/** Where the user is in time, and what is shown of it. */
export class Playback {
  /** What is wanted. The picture follows, and may be older for a while. */
  readonly wanted = signal<Position>({ step: 0, cycle: 0n });

  /** What is on the screen; stays while the next one is fetched. */
  readonly picture = signal<Picture | undefined>(undefined);

  /** Milliseconds from the wish to the picture, of the last one. */
  readonly pictureTime = signal<number | undefined>(undefined);

  readonly playing = signal(false);

  /** Steps a second; negative plays backward. */
  readonly speed = signal(10);
  readonly loop = signal(false);

  /** What is shown, or what is wanted while nothing is. */
  readonly now = computed<Position>(() => this.picture.value ?? this.wanted.value);
}
