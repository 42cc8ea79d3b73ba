import type { FilterTerms } from '../base/filterWords';
import type { Filter } from '../protocol/questions';

/** The members of a filter that words ask for. */
export function filterOf({ not, ...terms }: FilterTerms, skipTo: bigint): Filter {
  const filter = conditionsOf(terms, skipTo);
  return not === true && !isAll(filter) ? { without: [filter] } : filter;
}

/** One thread is told as such: of it the engine knows the counts. */
function threadsOf(threads: FilterTerms['threads']): Pick<Filter, 'thread' | 'threads'> {
  const [one, ...others] = threads ?? [];
  if (threads === undefined || one === undefined) {
    return {};
  }
  return others.length === 0 && one[0] === one[1] ? { thread: one[0] } : { threads };
}

function conditionsOf(terms: Omit<FilterTerms, 'not'>, skipTo: bigint): Filter {
  const { cycles, notes, records, threads, ...same } = terms;
  return {
    ...same,
    ...threadsOf(threads),
    ...(records === undefined ? {} : { records: [records[0], Math.min(records[1], Number.MAX_SAFE_INTEGER - 1) + 1] }),
    ...(cycles === undefined ? {} : { cycles: [String(cycles[0]), String(cycles[1])] }),
    ...(terms.steps === undefined || skipTo === 0n ? {} : { skipTo: String(skipTo) }),
    ...(notes === undefined
      ? {}
      : { notes: notes.map((note) => ('where' in note ? note : { ...note, value: String(note.value) })) }),
  };
}

/**
 * Whether words are about the whole run, whatever the range is: those that name a time say themselves
 * which one is meant, and `not` turns every condition round, that of a range as well.
 */
export const isOfWholeRun = ({ cycles, steps, records, not }: FilterTerms): boolean =>
  cycles !== undefined || steps !== undefined || records !== undefined || not === true;

export const isAll = (filter: Filter): boolean => Object.keys(filter).length === 0;
