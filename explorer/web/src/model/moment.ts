import type { Moment, Reading } from '../protocol/questions';

/** A place in time. Both readings have steps; in the natural one a step is a cycle with events. */
export interface Position {
  readonly step: number;
  readonly cycle: bigint;
}

/** The members of a question that tell a moment. */
export function momentOf(reading: Reading, at: Position, skipTo: bigint): Moment {
  if (reading === 'natural') {
    return { reading, cycle: String(at.cycle) };
  }
  return skipTo === 0n
    ? { reading, step: at.step }
    : { reading, step: at.step, skipTo: String(skipTo) };
}
