import type { ReadonlySignal } from '@preact/signals';

import type { Answer } from '../protocol/answers';
import type { Ask, Questions } from '../protocol/questions';
import type { News, Status } from '../protocol/status';

/** Whether the engine answers; `lost` tells since when, and when it is tried again. */
export type Connection =
  | { readonly state: 'connecting' }
  | { readonly state: 'connected' }
  | { readonly state: 'lost'; readonly since: number; readonly nextTry: number };

export interface Asked {
  readonly ask: Ask;
  readonly milliseconds: number;
  readonly bytes: number;
  readonly code: string | undefined;
}

export interface AskOptions {
  /** The answer is no longer wanted: the promise then fails with `cancelled`. */
  readonly signal?: AbortSignal;
}

/**
 * Who answers questions about traces. Each promise settles: with an answer or with an AskError.
 * Whoever implements this sends bytes and hands bytes in; nothing else knows how they travel.
 */
export interface Engine {
  readonly connection: ReadonlySignal<Connection>;

  /** Questions that are not answered yet. */
  readonly inFlight: ReadonlySignal<number>;

  /** The last questions, newest last. */
  readonly log: readonly Asked[];

  status(): Promise<Status>;

  ask<Name extends Ask>(
    trace: string,
    name: Name,
    question: Questions[Name],
    options?: AskOptions,
  ): Promise<Answer<Name>>;

  /** Calls back with what the server tells; returns what ends that. */
  onNews(listener: (news: News) => void): () => void;

  /** Tries at once to reach a lost server. */
  retry(): void;
}
