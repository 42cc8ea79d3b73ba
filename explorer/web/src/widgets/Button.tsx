import type { ComponentChildren } from 'preact';

import { Icon } from './Icon';
import type { IconName } from './icons';

export interface ButtonProps {
  /** What it does: its name for screen readers, and its tooltip where no words stand in it. */
  readonly label: string;
  readonly icon?: IconName;
  readonly look?: 'plain' | 'outlined' | 'primary';
  readonly class?: string;
  readonly pressed?: boolean | undefined;
  readonly disabled?: boolean;
  readonly onPress: () => void;
  /** Words beside the icon; without them the button is as wide as high. */
  readonly children?: ComponentChildren;
  readonly iconLast?: boolean;
}

export function Button(props: ButtonProps) {
  const bare = props.children === undefined;
  const icon = props.icon === undefined ? null : <Icon name={props.icon} />;
  const look = props.look === undefined || props.look === 'plain' ? '' : props.look;
  return (
    <button
      type="button"
      class={`button ${bare ? 'bare' : ''} ${look} ${props.class ?? ''}`}
      aria-label={props.label}
      aria-pressed={props.pressed}
      disabled={props.disabled ?? false}
      title={props.label}
      onClick={props.onPress}
    >
      {props.iconLast === true ? null : icon}
      {props.children}
      {props.iconLast === true ? icon : null}
    </button>
  );
}
