import { computed, signal } from '@preact/signals';

export type Gravity = 'danger' | 'warn' | 'info';

/** Words of an alert: text, strong text and commands to copy. */
export type AlertPart = string | { readonly strong: string } | { readonly code: string };

export interface AlertAction {
  readonly label: string;
  readonly run: () => void;
}

export interface Alert {
  readonly id: 'broken' | 'lost' | 'replaced' | 'truncated' | 'grown' | 'new-build' | 'index' | 'empty' | 'refused' | 'failed';
  readonly gravity: Gravity;
  readonly parts: readonly AlertPart[];
  readonly action?: AlertAction;
  /** 0 to 1: drawn as a bar. */
  readonly progress?: number;
  readonly closable?: boolean;
  /** Something to copy: the command to start the server again. */
  readonly copy?: string;
}

const ORDER: readonly Alert['id'][] = [
  'new-build',
  'replaced',
  'truncated',
  'lost',
  'failed',
  'grown', // of a trace that is still being written, the end that was seen before is none
  'broken',
  'empty',
  'index',
  'refused',
];

/** What the user must know. One is shown at a time: the gravest. */
export class Alerts {
  private readonly all = signal<ReadonlyMap<Alert['id'], Alert>>(new Map());

  readonly shown = computed<Alert | undefined>(() => {
    const id = ORDER.find((known) => this.all.value.has(known));
    return id === undefined ? undefined : this.all.value.get(id);
  });

  raise(alert: Alert): void {
    this.all.value = new Map(this.all.peek()).set(alert.id, alert);
  }

  settle(id: Alert['id']): void {
    if (this.all.peek().has(id)) {
      const rest = new Map(this.all.peek());
      rest.delete(id);
      this.all.value = rest;
    }
  }
}
