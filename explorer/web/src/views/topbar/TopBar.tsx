import type { ComponentType } from 'preact';

import { shapeText } from '../../base/shape';
import { thousands } from '../../base/words';
import type { CommandId } from '../../commands/ids';
import { Button } from '../../widgets/Button';
import { Icon } from '../../widgets/Icon';
import type { IconName } from '../../widgets/icons';
import { usePage } from '../context';
import './topbar.css';

function Logo() {
  return (
    <div class="logo">
      <svg viewBox="0 0 20 20" aria-hidden="true">
        <rect class="logo-solid" x="1" y="1" width="8" height="8" rx="1.5" />
        <rect x="11" y="1" width="8" height="8" rx="1.5" />
        <rect x="1" y="11" width="8" height="8" rx="1.5" />
        <path d="M9 9l6 6M15 11.5V15h-3.5" />
      </svg>
      <h1 class={usePage().explorer.panels.width.value === 'wide' ? '' : 'unseen'}>Marrowfin</h1>
    </div>
  );
}

/** The trace that is shown; where there are several, another one can be chosen. */
function TraceName() {
  const { explorer } = usePage();
  const { trace } = explorer;
  const status = trace.status.value;
  const head = trace.head.value;
  const shape = trace.shape.value;
  const about = head && shape ? `${shapeText(shape)} · ${thousands(head.records)} records` : '';
  const several = trace.all.value.length > 1;
  const choose = (fingerprint: string) => {
    const other = trace.all.value.find((one) => one.fingerprint === fingerprint);
    if (other !== undefined) {
      void explorer.watch.show(other);
    }
  };
  return (
    <div class="trace-name">
      {several ? (
        <span class="trace-choice">
          <select aria-label="Trace" value={trace.fingerprint.value} onChange={(event) => choose(event.currentTarget.value)}>
            {trace.all.value.map((one) => (
              <option key={one.fingerprint} value={one.fingerprint}>
                {one.name}
              </option>
            ))}
          </select>
          <Icon name="down" />
        </span>
      ) : (
        <strong>{status?.name ?? head?.name ?? ''}</strong>
      )}
      <span class="middle-only">{about}</span>
    </div>
  );
}

function WordButton(props: { readonly id: CommandId; readonly icon: IconName; readonly words: string }) {
  const { commands } = usePage();
  const command = commands.find(props.id);
  if (command === undefined) {
    return null;
  }
  return (
    <Button icon={props.icon} iconLast label={command.name} onPress={command.run}>
      <span class="middle-only">{props.words}</span>
    </Button>
  );
}

/** Mark, trace and shape, search, marks, link, theme, keys. */
export function TopBar({ Search }: { readonly Search?: ComponentType | undefined }) {
  const { explorer, commands } = usePage();
  const dark = explorer.settings.theme.value === 'dark';
  return (
    <header class="top">
      <Logo />
      <TraceName />
      <div class="top-search">{Search && <Search />}</div>
      <WordButton id="mark.list" icon="mark" words="Marks" />
      <WordButton id="share.link" icon="link" words="Copy link" />
      <WordButton id="share.takeAway" icon="out" words="Take away" />
      <span class="middle-only">
        <Button
          icon={dark ? 'moon' : 'sun'}
          label={dark ? 'Light theme' : 'Dark theme'}
          onPress={() => explorer.settings.toggleTheme()}
        />
      </span>
      {commands.find('find.keys') && (
        <Button icon="help" label="All keys (?)" onPress={() => commands.run('find.keys')} />
      )}
    </header>
  );
}
