import type { StripRow } from '../../base/stripRows';
import { nextBy } from '../../commands/timelineCommands';
import { laneKey } from '../../model/timeFeeds';
import type { Lane } from '../../model/timeStore';
import { Button } from '../../widgets/Button';
import { labelOf } from './labels';
import type { TimelineScene } from './scene';

/** What the ruler counts; a press changes it. */
function RulerName({ scene }: { readonly scene: TimelineScene }) {
  const { unit } = scene.page.explorer.time;
  const other = unit.value === 'cycle' ? 'step' : 'cycle';
  return (
    <button
      type="button"
      class="gutter-choice"
      title={`Count ${other}s on the ruler`}
      onClick={() => (unit.value = other)}
    >
      {unit.value === 'cycle' ? 'Cycle' : 'Step'}
    </button>
  );
}

/** By what the activity is coloured; a press changes it. */
function ByChoice({ scene }: { readonly scene: TimelineScene }) {
  const by = scene.page.explorer.time.activityBy.value;
  return (
    <button
      type="button"
      class="gutter-choice gutter-by wide-only"
      title={`Show activity by ${nextBy(scene.page.explorer)}`}
      onClick={() => scene.page.commands.run('timeline.by')}
    >
      by {by}
    </button>
  );
}

/** Name of a lane, which selects its unit, and a pin that lets it go. */
function LaneName(props: { readonly scene: TimelineScene; readonly lane: Lane; readonly name: string }) {
  const { explorer } = props.scene.page;
  const { lane, name } = props;
  const piece = 'piece' in lane ? lane.piece : undefined;
  const chosen = piece !== undefined && JSON.stringify(piece) === JSON.stringify(explorer.selection.piece.value);
  return (
    <>
      {piece === undefined ? (
        <span class="gutter-name">{name}</span>
      ) : (
        <button
          type="button"
          class={`gutter-choice gutter-name ${chosen ? 'chosen' : ''}`}
          onClick={() => explorer.selection.selectPiece(piece)}
        >
          {name}
        </button>
      )}
      <Button
        label={`Unpin ${name}`}
        icon="pin"
        class="gutter-pin"
        pressed={true}
        onPress={() => explorer.time.unpin(lane)}
      />
    </>
  );
}

function GutterRow(props: {
  readonly scene: TimelineScene;
  readonly row: StripRow;
  readonly lanes: ReadonlyMap<string, Lane>;
}) {
  const { scene, row, lanes } = props;
  const { name, sub } = labelOf(scene, row, lanes);
  const lane = lanes.get(row.key);
  const { trace, panels } = scene.page.explorer;
  return (
    <li class={`gutter-row ${row.kind}`} style={{ top: `${row.y}px`, height: `${row.height}px` }}>
      {row.kind === 'ruler' ? (
        <RulerName scene={scene} />
      ) : lane !== undefined ? (
        <LaneName scene={scene} lane={lane} name={name} />
      ) : (
        <span class="gutter-name">{name}</span>
      )}
      <span class="gutter-sub wide-only">{sub}</span>
      {row.kind === 'activity' ? <ByChoice scene={scene} /> : null}
      {row.kind === 'activity' && (trace.head.value?.counters.length ?? 0) > 0 ? (
        <Button
          label="Add a counter as a lane"
          icon="plus"
          class="gutter-add"
          onPress={() => (panels.searchWish.value = { text: 'counter ' })}
        />
      ) : null}
    </li>
  );
}

/** The names of the strips, left of them. */
export function Gutter({ scene }: { readonly scene: TimelineScene }) {
  const layout = scene.layout.value;
  const lanes = new Map(scene.page.explorer.time.lanes.value.map((lane) => [laneKey(lane), lane]));
  const stays = (row: StripRow) => row.y + row.height <= layout.scrollTop;
  const rows = (wanted: boolean, shift: number) =>
    layout.rows
      .filter((row) => stays(row) === wanted)
      .map((row) => (
        <GutterRow key={row.key} scene={scene} row={{ ...row, y: row.y - shift }} lanes={lanes} />
      ));
  return (
    <div class="timeline-gutter">
      <ul class="gutter-rows">{rows(true, 0)}</ul>
      <ul class="gutter-rows gutter-scrolled" style={{ top: `${layout.scrollTop}px` }}>
        {rows(false, layout.scrollTop)}
      </ul>
    </div>
  );
}
