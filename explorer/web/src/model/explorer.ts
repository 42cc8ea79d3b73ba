import type { Engine } from '../engine/engine';
import { Alerts } from './alerts';
import { Causes } from './causes';
import { Hover } from './hover';
import { Layers } from './layers';
import { MarkStore } from './markStore';
import { PanelStore } from './panelStore';
import { Pilot } from './pilot';
import { Playback } from './playback';
import { Player } from './player';
import { SelectionStore } from './selectionStore';
import { Settings } from './settings';
import { TimeStore } from './timeStore';
import { TraceStore } from './traceStore';
import { ViewStore } from './viewStore';
import { Watch } from './watch';

/** All state of the page, one store a concern. Views read it; commands change it. */
export class Explorer {
  readonly trace = new TraceStore();
  readonly view = new ViewStore();
  readonly playback = new Playback();
  readonly time = new TimeStore();
  readonly selection = new SelectionStore();
  readonly marks = new MarkStore();
  readonly panels = new PanelStore();
  readonly settings = new Settings();
  readonly alerts = new Alerts();

  /** What brings moments to the screen, and what plays. */
  readonly pilot: Pilot;
  readonly player: Player;

  readonly layers: Layers;
  readonly hover: Hover;
  readonly causes: Causes;
  readonly watch: Watch;

  constructor(readonly engine: Engine) {
    this.pilot = new Pilot(this);
    this.player = new Player(this);
    this.layers = new Layers(this);
    this.hover = new Hover(this);
    this.causes = new Causes(this);
    this.watch = new Watch(this);
  }

  /** Begins to answer what the stores hold; returns what ends that. */
  follow(): () => void {
    const parts = [this.pilot, this.player, this.layers, this.hover, this.causes, this.watch];
    const ends = parts.map((part) => part.follow());
    return () => ends.forEach((end) => end());
  }

  /** Whether anything is on its way. */
  get busy(): boolean {
    return this.engine.inFlight.peek() > 0 || this.pilot.busy || this.layers.busy || this.causes.busy;
  }
}
