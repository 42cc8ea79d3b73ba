import { counted, rangeText, thousands } from '../../base/words';
import type { CommandId } from '../../commands/ids';
import { Button } from '../../widgets/Button';
import type { IconName } from '../../widgets/icons';
import { usePage } from '../context';
import './transport.css';

export const SPEEDS = [1, 2, 5, 10, 20, 30, 60, 120, 240] as const;

/** A button that does what a command does, and names its key. */
function CommandButton(props: { readonly id: CommandId; readonly icon: IconName; readonly class?: string; readonly pressed?: boolean }) {
  const { commands } = usePage();
  const command = commands.find(props.id);
  if (command === undefined) {
    return null;
  }
  const keys = commands.keysOf(props.id)[0];
  const label = keys === undefined ? command.name : `${command.name} (${keys.join(' + ')})`;
  return (
    <Button icon={props.icon} label={label} class={props.class ?? ''} pressed={props.pressed} onPress={command.run} />
  );
}

function Speed() {
  const { playback } = usePage().explorer;
  const speed = playback.speed.value;
  const all = [...SPEEDS.map((steps) => -steps).reverse(), ...SPEEDS];
  const words = (steps: number) => `${counted(Math.abs(steps), 'step')} a second${steps < 0 ? ', backward' : ''}`;
  const known = all.includes(speed as never);
  return (
    <label class="transport-group middle-only">
      speed
      <select
        class="transport-speed"
        value={String(speed)}
        onChange={(event) => (playback.speed.value = Number(event.currentTarget.value))}
      >
        {!known && <option value={String(speed)}>{words(speed)}</option>}
        {all.map((steps) => (
          <option key={steps} value={String(steps)}>
            {words(steps)}
          </option>
        ))}
      </select>
    </label>
  );
}

function Range() {
  const { time } = usePage().explorer;
  const range = time.range.value;
  if (range === undefined) {
    return <span class="transport-group wide-only">no range: all panels show the whole run</span>;
  }
  return (
    <div class="transport-group middle-only">
      range <strong>{rangeText(range.first, range.last)}</strong>
      <span>{counted(time.rangeCycles.value ?? 0n, 'cycle')}</span>
      <Button icon="close" label="Clear the range" onPress={() => (time.range.value = undefined)} />
    </div>
  );
}

function Where() {
  const { trace, view, playback } = usePage().explorer;
  const head = trace.head.value;
  const at = playback.now.value;
  const steps = view.reading.value === 'viewer' ? head?.steps : head?.naturalSteps;
  const open = playback.picture.value !== undefined;
  return (
    <>
      <div class="transport-group">
        step <span class="transport-step">{open ? thousands(at.step) : '–'}</span>
        <span>of {steps === undefined ? '–' : thousands(steps)}</span>
      </div>
      <div class="transport-group">
        cycle <strong class="transport-cycle">{open ? thousands(at.cycle) : '–'}</strong>
      </div>
    </>
  );
}

/** Play and pause, steps and cycles, speed, range. */
export function Transport() {
  const { playback } = usePage().explorer;
  const playing = playback.playing.value;
  return (
    <div class="transport">
      <CommandButton id="time.first" icon="home" />
      <span class="middle-only">
        <CommandButton id="time.cycleBack" icon="cycleBack" />
      </span>
      <CommandButton id="time.stepBack" icon="back" />
      <CommandButton id="time.play" icon={playing ? 'pause' : 'play'} class="transport-play" />
      <CommandButton id="time.stepForward" icon="forward" />
      <span class="middle-only">
        <CommandButton id="time.cycleForward" icon="cycleForward" />
      </span>
      <CommandButton id="time.last" icon="end" />
      <span class="middle-only">
        <CommandButton id="time.loop" icon="loop" pressed={playback.loop.value} />
      </span>
      <Where />
      <Speed />
      <span class="grow" />
      <Range />
    </div>
  );
}
