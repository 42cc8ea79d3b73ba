import type { ComponentChildren } from 'preact';

import { thousands } from '../../base/words';
import type { Piece } from '../../protocol/questions';
import { threadColours } from '../../theme/palettes';
import { Button } from '../../widgets/Button';
import { ThreadChip } from '../../widgets/ThreadChip';
import { usePage } from '../context';

/** The square of a thread in the colours of now. */
export function Chip({ thread }: { readonly thread: number }) {
  const { settings, view } = usePage().explorer;
  const asViewer = view.asViewer.value;
  return <ThreadChip thread={thread} colours={threadColours(settings.theme.value, asViewer)} edge={asViewer} />;
}

/** Title and place of what is selected, with what can be done with it. */
export function Head(props: {
  readonly title: string;
  readonly place?: string;
  readonly pinned?: boolean;
  readonly pins?: boolean;
}) {
  const { commands, explorer } = usePage();
  return (
    <header class="inspector-head">
      <h2>{props.title}</h2>
      {commands.canRun('select.focus') ? (
        <Button label="Focus" icon="focus" onPress={() => commands.run('select.focus')} />
      ) : null}
      {props.pins === true ? (
        <Button
          label={props.pinned === true ? 'Unpin the lane' : 'Pin as a lane'}
          icon="pin"
          pressed={props.pinned ?? false}
          onPress={() => commands.run('timeline.pin')}
        />
      ) : null}
      <Button label="Deselect" icon="close" class="middle-only" onPress={() => explorer.selection.clear()} />
      {props.place === undefined ? null : <p>{props.place}</p>}
    </header>
  );
}

export function Section(props: {
  readonly title: string;
  readonly aside?: ComponentChildren;
  readonly children: ComponentChildren;
}) {
  return (
    <section class="inspector-section">
      <div class="inspector-heading">
        <h3>{props.title}</h3>
        <span>{props.aside}</span>
      </div>
      {props.children}
    </section>
  );
}

/** A bar of a share of its room, with a tick at another share. */
export function Bar({ share, tick }: { readonly share: number; readonly tick?: number }) {
  const percent = (value: number) => `${100 * Math.min(1, Math.max(0, value))}%`;
  return (
    <span class="bar" aria-hidden="true">
      <span class="bar-fill" style={{ width: percent(share) }} />
      {tick === undefined ? null : <span class="bar-tick" style={{ left: percent(tick) }} />}
    </span>
  );
}

/** Name, bar if there is one, and number. */
export function NumberRow(props: {
  readonly name: string;
  readonly value: number | string;
  readonly share?: number;
  readonly tick?: number;
}) {
  const { share, tick, value } = props;
  return (
    <div class="number-row">
      <dt>{props.name}</dt>
      <dd class="number-bar">
        {share === undefined ? null : <Bar share={share} {...(tick === undefined ? {} : { tick })} />}
      </dd>
      <dd class="number">{typeof value === 'number' ? thousands(value) : value}</dd>
    </div>
  );
}

/** A piece in a list of pieces: a press selects it. */
export function PieceRow(props: {
  readonly before?: string;
  readonly name: string;
  readonly piece: Piece;
  readonly share: number;
  readonly value: string;
}) {
  const { selection } = usePage().explorer;
  return (
    <li>
      <button type="button" class="piece-row" onClick={() => selection.selectPiece(props.piece)}>
        {props.before === undefined ? null : <span class="piece-before">{props.before}</span>}
        <span class="piece-name">{props.name}</span>
        <Bar share={props.share} />
        <span class="number">{props.value}</span>
      </button>
    </li>
  );
}
