import { effect, signal, untracked } from '@preact/signals';

import { Latest } from '../base/latest';
import type { Answer } from '../protocol/answers';
import { isCancelled } from '../protocol/fault';
import type { Ask, Questions } from '../protocol/questions';
import type { Explorer } from './explorer';

const PATIENCE = 150; // milliseconds before it is said that something is waited for

interface Wish<Name extends Ask> {
  readonly trace: string;
  readonly subject: string;
  readonly question: Questions[Name];
}

export interface Fed<Name extends Ask> {
  readonly question: Questions[Name];
  readonly answer: Answer<Name>;
}

/**
 * The answer to a question that changes with the page. The newest question wins; what was answered
 * stays until then, unless it is about another subject.
 */
export class AnswerFeed<Name extends Ask> {
  readonly fed = signal<Fed<Name> | undefined>(undefined);
  readonly failure = signal<unknown>(undefined);
  readonly slow = signal(false);
  private readonly latest: Latest<Wish<Name>>;
  private subject = '';
  private asked = '';

  /**
   * `question` is read as signals are; undefined asks nothing. `subjectOf` names what it is about. A
   * question that `takes` long is stopped when another one comes.
   */
  constructor(
    private readonly explorer: Explorer,
    private readonly name: Name,
    private readonly question: () => Questions[Name] | undefined,
    private readonly subjectOf: (question: Questions[Name]) => string,
    private readonly takes: 'short' | 'long' = 'short',
  ) {
    this.latest = new Latest((wish, stop) => this.work(wish, stop));
  }

  get busy(): boolean {
    return this.latest.busy;
  }

  /** Asks whenever the question becomes another one; returns what ends that. */
  follow(): () => void {
    const end = effect(() => {
      const trace = this.explorer.trace.fingerprint.value;
      this.explorer.trace.head.value; // more of the trace is known: the answer may be another one
      const question = this.question();
      untracked(() => this.turnTo(trace, question));
    });
    return () => {
      end();
      this.latest.drop();
    };
  }

  private turnTo(trace: string, question: Questions[Name] | undefined): void {
    const subject = question === undefined ? '' : trace + this.subjectOf(question);
    if (subject !== this.subject) {
      this.subject = subject;
      this.fed.value = undefined;
      this.failure.value = undefined;
      this.asked = '';
    }
    if (question === undefined) {
      this.latest.drop();
      return;
    }
    const head = this.explorer.trace.head.value;
    const text = trace + head?.records + head?.notesComing + JSON.stringify(question);
    if (text !== this.asked) {
      this.asked = text;
      if (this.takes === 'long') {
        this.latest.drop();
      }
      this.latest.want({ trace, subject, question });
    }
  }

  private async work({ trace, subject, question }: Wish<Name>, stop: AbortSignal): Promise<void> {
    const waiting = setTimeout(() => (this.slow.value = true), PATIENCE);
    try {
      const answer = await this.explorer.engine.ask(trace, this.name, question, { signal: stop });
      if (subject === this.subject && !stop.aborted) {
        this.fed.value = { question, answer };
        this.failure.value = undefined;
      }
    } catch (error) {
      if (subject === this.subject && !isCancelled(error)) {
        this.failure.value = error;
      }
    } finally {
      clearTimeout(waiting);
      this.slow.value = false;
    }
  }
}
