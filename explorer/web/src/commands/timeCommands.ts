import type { Explorer } from '../model/explorer';
import type { Command } from './registry';

const FASTEST = 240; // steps a second

/** Twice or half as fast; at one step a second, slower turns around. */
export function otherSpeed(speed: number, faster: boolean): number {
  const next = faster === speed > 0 ? speed * 2 : speed / 2;
  if (Math.abs(next) < 1) {
    return speed > 0 ? -1 : 1;
  }
  return Math.max(-FASTEST, Math.min(FASTEST, Math.trunc(next)));
}

/** Moments: steps, cycles, playing. */
export function timeCommands(explorer: Explorer): readonly Command[] {
  const { pilot, player, playback, trace } = explorer;
  const group = 'Time';
  const can = () => trace.head.peek() !== undefined && !trace.isEmpty.peek();
  const step = (by: number) => () => {
    playback.playing.value = false;
    pilot.step(by);
  };
  const cycle = (by: bigint) => () => {
    playback.playing.value = false;
    void pilot.goToCycle(playback.now.peek().cycle + by);
  };
  const speed = (faster: boolean) => () => {
    playback.speed.value = otherSpeed(playback.speed.peek(), faster);
  };
  return [
    { id: 'time.play', group, name: 'Play or pause', icon: 'play', can, run: () => player.toggle() },
    { id: 'time.stepBack', group, name: 'Step back', icon: 'back', can, run: step(-1) },
    { id: 'time.stepForward', group, name: 'Step forward', icon: 'forward', can, run: step(1) },
    { id: 'time.tenBack', group, name: 'Ten steps back', icon: 'back', can, run: step(-10) },
    { id: 'time.tenForward', group, name: 'Ten steps forward', icon: 'forward', can, run: step(10) },
    { id: 'time.cycleBack', group, name: 'Cycle back', icon: 'cycleBack', can, run: cycle(-1n) },
    { id: 'time.cycleForward', group, name: 'Cycle forward', icon: 'cycleForward', can, run: cycle(1n) },
    { id: 'time.first', group, name: 'First step', icon: 'home', can, run: () => pilot.goToFirst() },
    { id: 'time.last', group, name: 'Last step', icon: 'end', can, run: () => pilot.goToLast() },
    {
      id: 'time.loop',
      group,
      name: 'Loop the range',
      icon: 'loop',
      run: () => (playback.loop.value = !playback.loop.peek()),
    },
    { id: 'time.faster', group, name: 'Play faster', can, run: speed(true) },
    { id: 'time.slower', group, name: 'Play slower', can, run: speed(false) },
  ];
}
