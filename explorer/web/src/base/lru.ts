/** Keeps what was used last, up to `room` values. */
export class Lru<Key, Value> {
  private readonly values = new Map<Key, Value>();

  constructor(private readonly room: number) {}

  get size(): number {
    return this.values.size;
  }

  get(key: Key): Value | undefined {
    const value = this.values.get(key);
    if (value !== undefined) {
      this.values.delete(key);
      this.values.set(key, value);
    }
    return value;
  }

  set(key: Key, value: Value): void {
    this.values.delete(key);
    this.values.set(key, value);
    if (this.values.size > this.room) {
      const oldest = this.values.keys().next();
      if (!oldest.done) {
        this.values.delete(oldest.value);
      }
    }
  }

  clear(): void {
    this.values.clear();
  }
}
