import { isFlat } from '../base/shape';
import type { Explorer } from '../model/explorer';
import type { CausesOf, ColourBy } from '../model/viewStore';
import type { Command } from './registry';
import { hasPackets } from './selectionCommands';

/** What moves the picture of the array. */
export interface FloorplanMoves {
  /** About the middle. */
  zoom(factor: number): void;
  /** To what is selected. */
  focus(): void;
}

const ZOOM = 1.5;

/** Reading, zoom, colours and layers of the floorplan. */
export function floorplanCommands(explorer: Explorer, moves: FloorplanMoves): readonly Command[] {
  const { view, trace, selection } = explorer;
  const causes = (of: CausesOf) => () => {
    view.causesOf.value = of;
    view.causes.value = true;
  };
  const colour = (by: ColourBy) => () => (view.colourBy.value = by);
  const toggle = (layer: 'messages' | 'switches' | 'linkLoad' | 'causes') => () =>
    (view[layer].value = !view[layer].peek());
  const fullest = () => (view.linkLoad.peek() ? explorer.layers.links.answer.peek()?.head.fullest[0] : undefined);
  return [
    {
      id: 'floorplan.reading',
      group: 'Floorplan',
      name: 'Natural or as the viewer shows it',
      can: () => trace.head.peek()?.viewerShows !== false,
      run: () => (view.reading.value = view.reading.peek() === 'natural' ? 'viewer' : 'natural'),
    },
    {
      id: 'floorplan.flat',
      group: 'Floorplan',
      name: 'Flat, without gaps',
      can: () => {
        const shape = trace.head.peek()?.shape ?? undefined;
        return shape !== undefined && !isFlat(shape) && !view.asViewer.peek();
      },
      run: () => (trace.flat.value = !trace.flat.peek()),
    },
    { id: 'floorplan.zoomIn', group: 'Floorplan', name: 'Zoom in', icon: 'plus', run: () => moves.zoom(ZOOM) },
    { id: 'floorplan.zoomOut', group: 'Floorplan', name: 'Zoom out', icon: 'minus', run: () => moves.zoom(1 / ZOOM) },
    { id: 'floorplan.fit', group: 'Floorplan', name: 'Fit all', icon: 'fit', run: () => (view.camera.value = undefined) },
    { id: 'colour.thread', group: 'Layers', name: 'Colour by thread', icon: 'thread', run: colour('thread') },
    {
      id: 'colour.kind',
      group: 'Layers',
      name: 'Colour by kind',
      icon: 'kind',
      can: () => trace.hasKinds.peek(),
      run: colour('kind'),
    },
    { id: 'colour.heat', group: 'Layers', name: 'Colour by heat over the range', icon: 'heat', run: colour('heat') },
    { id: 'colour.nothing', group: 'Layers', name: 'Colour by nothing', icon: 'none', run: colour('nothing') },
    { id: 'layer.messages', group: 'Layers', name: 'Show messages', icon: 'message', run: toggle('messages') },
    { id: 'layer.switches', group: 'Layers', name: 'Show switches', icon: 'switch', run: toggle('switches') },
    { id: 'layer.linkLoad', group: 'Layers', name: 'Show link load', icon: 'load', run: toggle('linkLoad') },
    {
      id: 'layer.linkScale',
      group: 'Layers',
      name: 'Scale link load to the fullest link',
      icon: 'load',
      run: () => {
        view.toFullest.value = !(view.toFullest.peek() && view.linkLoad.peek());
        view.linkLoad.value = true;
      },
    },
    { id: 'layer.causes', group: 'Layers', name: 'Show causes', icon: 'path', run: toggle('causes') },
    {
      id: 'layer.effects',
      group: 'Layers',
      name: 'Show what followed from the selected',
      icon: 'path',
      can: () => selection.selected.peek() !== undefined,
      run: causes('forward'),
    },
    {
      id: 'layer.packet',
      group: 'Layers',
      name: 'Show the way of the packet',
      icon: 'path',
      can: () => selection.selected.peek() !== undefined && hasPackets(explorer),
      run: causes('packet'),
    },
    { id: 'layer.critical', group: 'Layers', name: 'Show the critical path of the run', icon: 'path', run: causes('critical') },
    {
      id: 'select.fullest',
      group: 'Selection',
      name: 'Focus the fullest link in the range',
      icon: 'focus',
      can: () => fullest() !== undefined,
      run: () => {
        const link = fullest();
        if (link !== undefined) {
          selection.selectPiece({ link: [...link.node, link.heading] });
          moves.focus();
        }
      },
    },
    { id: 'select.focus', group: 'Selection', name: 'Focus', icon: 'focus', run: () => moves.focus() },
  ];
}
