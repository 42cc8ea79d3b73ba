import { computed, signal } from '@preact/signals';

export type ThemeChoice = 'system' | 'light' | 'dark';
export type Theme = 'light' | 'dark';

/** What the user likes, whatever the trace. */
export class Settings {
  readonly choice = signal<ThemeChoice>('system');
  readonly systemTheme = signal<Theme>('light');
  readonly reducedMotion = signal(false);

  readonly theme = computed<Theme>(() =>
    this.choice.value === 'system' ? this.systemTheme.value : this.choice.value,
  );

  /** Light and dark; to choose what the system has is to follow it again. */
  toggleTheme(): void {
    const other = this.theme.value === 'light' ? 'dark' : 'light';
    this.choice.value = other === this.systemTheme.value ? 'system' : other;
  }
}
