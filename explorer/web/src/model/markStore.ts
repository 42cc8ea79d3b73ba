import { signal } from '@preact/signals';

import type { Piece } from '../protocol/questions';

/** A moment that was given a name, with what was selected there. */
export interface Mark {
  readonly name: string;
  readonly cycle: bigint;
  readonly piece?: Piece;
}

export class MarkStore {
  readonly marks = signal<readonly Mark[]>([]);

  add(mark: Mark): void {
    const others = this.marks.value.filter((other) => other.name !== mark.name);
    this.marks.value = [...others, mark].sort((a, b) => Number(a.cycle - b.cycle));
  }

  remove(name: string): void {
    this.marks.value = this.marks.value.filter((mark) => mark.name !== name);
  }

  rename(name: string, to: string): void {
    this.marks.value = this.marks.value.map((mark) => (mark.name === name ? { ...mark, name: to } : mark));
  }

  /** A name that no mark has. */
  freshName(): string {
    let number = this.marks.value.length + 1;
    while (this.marks.value.some((mark) => mark.name === `mark ${number}`)) {
      number += 1;
    }
    return `mark ${number}`;
  }
}
