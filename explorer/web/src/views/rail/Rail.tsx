import { useState } from 'preact/hooks';

import type { CommandId } from '../../commands/ids';
import type { ColourBy } from '../../model/viewStore';
import { Icon } from '../../widgets/Icon';
import type { IconName } from '../../widgets/icons';
import { Keys } from '../../widgets/Keys';
import { usePage } from '../context';
import type { FloorplanController } from '../floorplan/controller';
import { Legend } from './Legend';
import './rail.css';

interface RowProps {
  readonly id: CommandId;
  readonly icon: IconName;
  readonly name: string;
  readonly on: boolean;
  readonly kind: 'radio' | 'checkbox';
  readonly onPress: () => void;
}

function Row(props: RowProps) {
  const { commands } = usePage();
  return (
    <button
      type="button"
      class={`rail-row ${props.kind}`}
      role={props.kind}
      aria-checked={props.on}
      aria-label={props.name}
      title={props.name}
      onClick={props.onPress}
    >
      <Icon name={props.icon} />
      <span class="wide-only">{props.name}</span>
      <span class="rail-keys wide-only">
        <Keys parts={commands.keysOf(props.id)[0]} />
        {props.kind === 'checkbox' && (
          <span class={`rail-box ${props.on ? 'on' : ''}`}>{props.on && <Icon name="check" />}</span>
        )}
      </span>
    </button>
  );
}

const COLOURS: readonly { by: ColourBy; id: CommandId; icon: IconName; name: string }[] = [
  { by: 'thread', id: 'colour.thread', icon: 'thread', name: 'Thread' },
  { by: 'kind', id: 'colour.kind', icon: 'kind', name: 'Kind' },
  { by: 'heat', id: 'colour.heat', icon: 'heat', name: 'Heat over range' },
  { by: 'nothing', id: 'colour.nothing', icon: 'none', name: 'Nothing' },
];

type Layer = 'messages' | 'switches' | 'linkLoad' | 'causes';

const LAYERS: readonly { layer: Layer; id: CommandId; icon: IconName; name: string }[] = [
  { layer: 'messages', id: 'layer.messages', icon: 'message', name: 'Messages' },
  { layer: 'switches', id: 'layer.switches', icon: 'switch', name: 'Switches' },
  { layer: 'linkLoad', id: 'layer.linkLoad', icon: 'load', name: 'Link load' },
  { layer: 'causes', id: 'layer.causes', icon: 'path', name: 'Causes' },
];

/** What the floorplan shows, and what that looks like. */
export function Rail({ controller }: { readonly controller: FloorplanController }) {
  const { explorer, commands } = usePage();
  const { view, trace, panels } = explorer;
  const [open, setOpen] = useState(false);
  const shape = trace.shape.value;
  const without = shape !== undefined && shape.clusters[0] * shape.clusters[1] === 1 ? 'switches' : undefined;
  const narrow = panels.width.value !== 'wide';
  const colour = (by: ColourBy, id: CommandId) => {
    // Beside a narrow rail, the icon of what is chosen already shows its legend.
    setOpen(narrow && view.colourBy.value === by ? !open : false);
    commands.run(id);
  };
  return (
    <nav class="rail" aria-label="Layers">
      <h2 class="rail-title wide-only">Colour PEs by</h2>
      <div role="radiogroup" aria-label="Colour PEs by">
        {COLOURS.filter(({ by }) => by !== 'kind' || trace.hasKinds.value).map(({ by, id, icon, name }) => (
          <Row key={id} id={id} icon={icon} name={name} kind="radio" on={view.colourBy.value === by} onPress={() => colour(by, id)} />
        ))}
      </div>
      <h2 class="rail-title wide-only">Show on top</h2>
      {LAYERS.filter(({ layer }) => layer !== without).map(({ layer, id, icon, name }) => (
        <Row key={id} id={id} icon={icon} name={name} kind="checkbox" on={view[layer].value} onPress={() => commands.run(id)} />
      ))}
      {(!narrow || open) && (
        <div class={narrow ? 'rail-popover' : 'rail-legend'}>
          <Legend controller={controller} />
        </div>
      )}
    </nav>
  );
}
