import { thousands } from '../base/words';
import type { FaultOfTrace } from '../protocol/answers';
import { AskError } from '../protocol/fault';
import type { Status } from '../protocol/status';
import type { Alert, AlertPart } from './alerts';

// The words of alerts: what happened, where, what to do. No code, no exclamation mark, no apology.

const strong = (text: string): AlertPart => ({ strong: text });

/** A sentence: with a capital at its beginning and a full stop at its end. */
export function sentence(text: string): string {
  const trimmed = text.trim();
  return trimmed === '' ? '' : trimmed.charAt(0).toUpperCase() + trimmed.slice(1).replace(/[.]?$/, '.');
}

const joined = (...texts: (string | undefined)[]): string =>
  texts.filter((text) => text !== undefined && text !== '').map((text) => ` ${sentence(text ?? '')}`).join('');

export interface IndexProgress {
  readonly share: number;
  /** Undefined while it cannot be told yet. */
  readonly secondsLeft: number | undefined;
  /** The last step that can be looked at. */
  readonly lastStep: number | undefined;
}

export function indexing(progress: IndexProgress): Alert {
  const left = progress.secondsLeft === undefined ? '' : `, about ${thousands(progress.secondsLeft)} s left`;
  const steps = progress.lastStep === undefined ? '' : ` You can look at steps 0 to ${thousands(progress.lastStep)} now.`;
  return {
    id: 'index',
    gravity: 'info',
    parts: [strong(`Reading the trace: ${Math.floor(100 * progress.share)} %`), `${left}.${steps}`],
    progress: progress.share,
  };
}

/** Where the trace ends, what is there, and what to do. */
function brokenParts({ kind, message, place, remedy, record, offset }: FaultOfTrace): readonly AlertPart[] {
  if (record === undefined || offset === undefined) {
    return [strong(sentence(message)), `${joined(place)} You see everything before it.${joined(remedy)}`];
  }
  const cut = kind === 'cut-record';
  const there = cut ? `${message.replace(/^the trace ends after /, '')} are there` : message;
  return [
    strong(`The trace ${cut ? 'ends in the middle of' : 'breaks off at'} record ${thousands(record)}.`),
    ` At byte ${thousands(offset)}, ${there}. You see everything before it.`,
    cut ? ' Run the simulator to its end to see the rest.' : joined(remedy),
  ];
}

export function broken(end: FaultOfTrace, goToLast: () => void): Alert {
  return {
    id: 'broken',
    gravity: 'danger',
    parts: brokenParts(end),
    action: { label: 'Go to last step', run: goToLast },
    closable: true,
  };
}

export function lost(seconds: number, next: number, { command, sameLink }: Status['restart'], tryNow: () => void): Alert {
  return {
    id: 'lost',
    gravity: 'warn',
    parts: [
      strong(`The server has not answered for ${thousands(seconds)} s.`),
      ` The picture stays as it was. Next try in ${thousands(next)} s. If it has ended, start it again${sameLink ? '' : ' and open the link that it prints'}: `,
      { code: command },
    ],
    action: { label: 'Try now', run: tryNow },
    copy: command,
  };
}

const clock = (date: Date): string =>
  `${String(date.getHours()).padStart(2, '0')}:${String(date.getMinutes()).padStart(2, '0')}`;

export function replaced(at: Date, shorter: boolean, open: () => void): Alert {
  return {
    id: shorter ? 'truncated' : 'replaced',
    gravity: 'warn',
    parts: [
      strong('This is another trace now.'),
      ` The file ${shorter ? 'became shorter' : 'changed'} at ${clock(at)}. Your view is kept in the link.`,
    ],
    action: { label: 'Open the new one', run: open },
  };
}

export function grown(records: number | undefined, show: () => void): Alert {
  const by = records === undefined ? '' : ` by ${thousands(records)} ${records === 1 ? 'record' : 'records'}`;
  return {
    id: 'grown',
    gravity: 'info',
    parts: [strong(`The trace has grown${by}.`)],
    action: { label: 'Show them', run: show },
    closable: true,
  };
}

export function newBuild(reload: () => void): Alert {
  return {
    id: 'new-build',
    gravity: 'warn',
    parts: [strong('The server is newer than this page.')],
    action: { label: 'Reload', run: reload },
  };
}

export function empty(): Alert {
  return {
    id: 'empty',
    gravity: 'info',
    parts: [strong('The trace has no records.'), ' The simulator has not written yet, or ended at once.'],
  };
}

export function refused(): Alert {
  return {
    id: 'refused',
    gravity: 'info',
    parts: [strong('That is too much at once.'), ' Choose a shorter range.'],
    closable: true,
  };
}

/** What else can go wrong, in the engine's words. */
export function failed(error: unknown): Alert {
  const fault = error instanceof AskError ? error : undefined;
  const message = error instanceof Error ? error.message : String(error);
  return {
    id: 'failed',
    gravity: 'danger',
    parts: [
      strong(sentence(fault?.file === undefined || fault.file === '' ? message : `${message} (${fault.file})`)),
      joined(fault?.place, fault?.remedy),
    ],
    closable: true,
  };
}
