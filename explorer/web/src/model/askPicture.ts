import type { Picture } from '../base/picture';
import type { Engine } from '../engine/engine';
import type { Answer } from '../protocol/answers';
import type { Questions, Reading } from '../protocol/questions';

/** What is asked for a picture. */
export interface Wish {
  readonly trace: string;
  readonly question: Questions['state'];
  readonly begun: number;
}

function pictureOf(reading: Reading, answer: Answer<'state'>): Picture {
  const { head, columns } = answer;
  return {
    reading,
    step: head.step,
    cycle: BigInt(head.cycle),
    last: head.last,
    elements: columns.elements,
    switches: columns.switches,
    messages: {
      record: columns.record,
      age: columns.age,
      thread: columns.thread,
      from: columns.from,
      to: columns.to,
    },
  };
}

export async function askPicture(engine: Engine, { trace, question }: Wish, stop: AbortSignal): Promise<Picture> {
  return pictureOf(question.reading, await engine.ask(trace, 'state', question, { signal: stop }));
}
