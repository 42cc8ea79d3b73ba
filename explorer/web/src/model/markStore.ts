import { computed, signal } from '@preact/signals';

import type { Piece } from '../protocol/questions';

/** A moment that was given a name, with what was selected there. */
export interface Mark {
  readonly name: string;
  readonly cycle: bigint;
  readonly piece?: Piece;
}

const sameMark = (a: Mark, b: Mark): boolean =>
  a.name === b.name && a.cycle === b.cycle && JSON.stringify(a.piece) === JSON.stringify(b.piece);

const sorted = (marks: readonly Mark[]): readonly Mark[] =>
  [...marks].sort((a, b) => (a.cycle < b.cycle ? -1 : a.cycle > b.cycle ? 1 : 0));

export class MarkStore {
  readonly marks = signal<readonly Mark[]>([]);

  /** Those that are kept beside the trace; undefined until that is known. */
  readonly kept = signal<readonly Mark[] | undefined>(undefined);

  /** Whether there are others than those that are kept. */
  readonly isUnsaved = computed(() => {
    const [own, kept] = [this.marks.value, this.kept.value ?? []];
    return own.length !== kept.length || own.some((mark) => !kept.some((other) => sameMark(mark, other)));
  });

  /** The marks of an address, and those that are kept. */
  open(marks: readonly Mark[]): void {
    this.marks.value = marks;
    this.addKept();
  }

  /** Adds those that are kept; one whose name another one has gets a name of its own. */
  addKept(): void {
    for (const mark of this.kept.peek() ?? []) {
      const own = this.marks.peek();
      if (!own.some((other) => sameMark(mark, other))) {
        const taken = own.some(({ name }) => name === mark.name);
        this.add(taken ? { ...mark, name: this.freshName() } : mark);
      }
    }
  }

  add(mark: Mark): void {
    const others = this.marks.value.filter((other) => other.name !== mark.name);
    this.marks.value = sorted([...others, mark]);
  }

  remove(name: string): void {
    this.marks.value = this.marks.value.filter((mark) => mark.name !== name);
  }

  rename(name: string, to: string): void {
    this.marks.value = this.marks.value.map((mark) => (mark.name === name ? { ...mark, name: to } : mark));
  }

  /** A name that no mark has. */
  freshName(): string {
    let number = this.marks.peek().length + 1;
    while (this.marks.peek().some((mark) => mark.name === `mark ${number}`)) {
      number += 1;
    }
    return `mark ${number}`;
  }
}
