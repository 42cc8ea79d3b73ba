import { ICONS, type IconName } from './icons';

export function Icon({ name }: { readonly name: IconName }) {
  return (
    <svg class="icon" viewBox="0 0 16 16" aria-hidden="true">
      <path d={ICONS[name]} />
    </svg>
  );
}
