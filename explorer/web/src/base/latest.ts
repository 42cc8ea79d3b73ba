/**
 * Answers that replace each other: while one question is in work, only the newest of those that
 * came after it waits. An answer is given only if it is not older than the one given before.
 */
export class Latest<Key> {
  private waiting: Key | undefined;
  private working = false;
  private running: Promise<void> = Promise.resolve();
  private stop: AbortController | undefined;

  /** `work` asks and shows; it may be told that its answer is no longer wanted. */
  constructor(private readonly work: (key: Key, signal: AbortSignal) => Promise<void>) {}

  get busy(): boolean {
    return this.working;
  }

  /** Whether another key waits behind the one in work. */
  get hasWaiting(): boolean {
    return this.waiting !== undefined;
  }

  /** When nothing is in work or waits. */
  async idle(): Promise<void> {
    while (this.working) {
      await this.running;
    }
  }

  /** The work for `key`, or for a newer one, which then replaces this one. */
  want(key: Key): void {
    this.waiting = key;
    if (!this.working) {
      this.running = this.run();
    }
  }

  /** Nothing is wanted any more; what is in work is told so. */
  drop(): void {
    this.waiting = undefined;
    this.stop?.abort();
  }

  private async run(): Promise<void> {
    this.working = true;
    while (this.waiting !== undefined) {
      const key = this.waiting;
      this.waiting = undefined;
      this.stop = new AbortController();
      await this.work(key, this.stop.signal);
    }
    this.working = false;
  }
}
