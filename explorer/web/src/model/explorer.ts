import type { Engine } from '../engine/engine';
import { Alerts } from './alerts';
import { MarkStore } from './markStore';
import { PanelStore } from './panelStore';
import { Playback } from './playback';
import { SelectionStore } from './selectionStore';
import { Settings } from './settings';
import { TimeStore } from './timeStore';
import { TraceStore } from './traceStore';
import { ViewStore } from './viewStore';

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

  constructor(readonly engine: Engine) {}
}
