import { thousands } from '../../base/words';
import { namedPiece } from '../../model/hover';
import { Icon } from '../../widgets/Icon';
import { usePage } from '../context';
import './status.css';

const WORDS = { connected: 'Connected', connecting: 'Connecting', lost: 'Not connected' } as const;

function Connection() {
  const { state } = usePage().explorer.engine.connection.value;
  return (
    <span class={`status-connection ${state}`}>
      <svg class="status-dot" viewBox="0 0 8 8" aria-hidden="true">
        <circle cx="4" cy="4" r="3" />
      </svg>
      {WORDS[state]}
    </span>
  );
}

/** How far the index is; and what is under the pointer. */
export function StatusBar() {
  const { explorer } = usePage();
  const share = explorer.watch.indexed.value;
  const piece = explorer.selection.hovered.value;
  const words = explorer.hover.words.value;
  const notice = explorer.panels.notice.value;
  const time = explorer.playback.pictureTime.value;
  return (
    <footer class="status">
      <Connection />
      <span>{share === undefined ? 'Index complete' : `Indexing ${Math.floor(100 * share)} %`}</span>
      <span class={notice === '' ? 'middle-only' : 'status-notice'}>
        {notice !== '' ? <Icon name="check" /> : null}
        {notice !== '' ? notice : piece && `Pointer: ${namedPiece(explorer, piece)}${words === '' ? '' : `, ${words}`}`}
      </span>
      <span class="grow" />
      {time !== undefined && <span class="middle-only status-time">Picture in {thousands(Math.max(1, Math.round(time)))} ms</span>}
      <span>Row 0 at the bottom</span>
    </footer>
  );
}
