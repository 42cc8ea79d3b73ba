import { KEY_GROUPS, lineKeys, MOUSE_LINES, type KeyGroup } from '../../commands/keyTable';
import { Dialog } from '../../widgets/Dialog';
import { usePage } from '../context';

function Group({ group }: { readonly group: KeyGroup }) {
  const { commands } = usePage();
  const lines = group.lines
    .map((line) => ({ name: line.name, keys: lineKeys(commands, line) }))
    .filter(({ keys }) => keys.length > 0);
  return lines.length === 0 ? null : <Lines name={group.name} lines={lines} />;
}

function Lines(props: {
  readonly name: string;
  readonly lines: readonly { readonly name: string; readonly keys: readonly string[] }[];
}) {
  return (
    <section class="keys-group">
      <h3>{props.name}</h3>
      <dl>
        {props.lines.map((line) => (
          <div key={line.name} class="keys-line">
            <dt>{line.name}</dt>
            <dd>
              {line.keys.map((key) => (
                <kbd key={key}>{key}</kbd>
              ))}
            </dd>
          </div>
        ))}
      </dl>
    </section>
  );
}

/** All keys, from the table of commands. */
export function KeysDialog({ onClose }: { readonly onClose: () => void }) {
  return (
    <Dialog label="All keys" title="All keys" class="keys-dialog" onClose={onClose}>
      <div class="keys-page">
        {KEY_GROUPS.map((group) => (
          <Group key={group.name} group={group} />
        ))}
        <Lines name="Mouse" lines={MOUSE_LINES.map(({ name, parts }) => ({ name, keys: parts }))} />
      </div>
    </Dialog>
  );
}
