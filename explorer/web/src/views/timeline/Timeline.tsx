import { useEffect, useMemo, useRef } from 'preact/hooks';

import { thousands } from '../../base/words';
import { Splitter } from '../../widgets/Splitter';
import { Tooltip } from '../../widgets/Tooltip';
import { usePage } from '../context';
import { Gutter } from './Gutter';
import { TimelineHand } from './hand';
import { hoverWords } from './hoverWords';
import { followScene } from './layers';
import { TimelineScene } from './scene';
import { StepRuler } from './stepRuler';
import './timeline.css';

const remOf = (): number => parseFloat(getComputedStyle(document.documentElement).fontSize);

/** Tells the scene how large the strips are, now and whenever that changes; returns what ends that. */
function followSize(area: HTMLElement, scene: TimelineScene): () => void {
  const measure = () => {
    const { width, height } = area.getBoundingClientRect();
    scene.size.value = { width, height, ratio: devicePixelRatio, rem: remOf() };
  };
  const observer = new ResizeObserver(measure);
  observer.observe(area);
  measure();
  return () => observer.disconnect();
}

/** The upper edge of the timeline. */
function Edge({ scene }: { readonly scene: TimelineScene }) {
  const { timelineHeight } = scene.page.explorer.panels;
  const { height, rem } = scene.size.value;
  return (
    <Splitter
      label="Height of the timeline"
      direction="height"
      size={height}
      least={6 * rem}
      most={innerHeight / 2}
      onSize={(size) => (timelineHeight.value = size / rem)}
      onReset={() => (timelineHeight.value = undefined)}
    />
  );
}

/** What time is shown, for those who hear the page. */
function slider(scene: TimelineScene) {
  const { explorer } = scene.page;
  const { step, cycle } = explorer.playback.now.value;
  const head = explorer.trace.head.value;
  const steps = explorer.view.asViewer.value ? head?.steps : head?.naturalSteps;
  return {
    role: 'slider',
    tabIndex: 0,
    'aria-label': 'Playhead',
    'aria-valuemin': 0,
    'aria-valuemax': Math.max(steps ?? 0, step),
    'aria-valuenow': step,
    'aria-valuetext': `step ${thousands(step)}, cycle ${thousands(cycle)}`,
  } as const;
}

/** The strips, and over them what moves with the playhead. */
function Strips({ scene }: { readonly scene: TimelineScene }) {
  const area = useRef<HTMLDivElement>(null);
  const strips = useRef<HTMLCanvasElement>(null);
  const over = useRef<HTMLCanvasElement>(null);
  useEffect(() => {
    if (area.current === null || strips.current === null || over.current === null) {
      return undefined;
    }
    const steps = new StepRuler(scene);
    const ends = [
      followSize(area.current, scene),
      followScene(scene, steps, { strips: strips.current, over: over.current }),
      steps.follow(),
      new TimelineHand(scene, area.current).follow(),
    ];
    return () => ends.forEach((end) => end());
  }, [scene]);
  const { activity } = scene.page.timeline.feeds;
  return (
    <div
      class={`timeline-area ${activity.slow.value ? 'waiting' : ''}`}
      ref={area}
      {...slider(scene)}
    >
      <canvas ref={strips} />
      <canvas ref={over} />
    </div>
  );
}

/** What is counted under the pointer. */
function Pointed({ scene }: { readonly scene: TimelineScene }) {
  const pointed = scene.pointed.value;
  const x = scene.hover.value;
  const words = pointed && x !== undefined ? hoverWords(scene.strips.value, pointed.row, x) : undefined;
  return pointed === undefined || words === undefined ? null : (
    <Tooltip x={pointed.x} y={pointed.y}>
      <b>{words.what}</b>
      <br />
      {words.when}
    </Tooltip>
  );
}

/** The whole run, a ruler, activity, counts and lanes of one part of time, one below the other. */
export function Timeline() {
  const page = usePage();
  const scene = useMemo(() => new TimelineScene(page), [page]);
  return (
    <div class="timeline">
      <Edge scene={scene} />
      <Gutter scene={scene} />
      <Strips scene={scene} />
      <Pointed scene={scene} />
    </div>
  );
}
