import type { Picture } from '../base/picture';
import type { Reading } from '../protocol/questions';
import type { Position } from './moment';

type Shown = Pick<Picture, 'reading' | 'step' | 'cycle'>;

const isSame = (a: Shown, b: Shown): boolean => a.reading === b.reading && a.step === b.step && a.cycle === b.cycle;

/**
 * Remembers from where the other reading was entered. Both have moments that the other one has not:
 * who looks and comes back at once is where he was.
 */
export class Turn {
  private from: Shown | undefined;
  private entered: Shown | undefined; // the first picture of the other reading

  /** Where to go when a reading is turned to while a picture is shown, if that is known. */
  to(reading: Reading, shown: Shown | undefined): Position | undefined {
    if (shown === undefined || shown.reading === reading) {
      return undefined;
    }
    const { from, entered } = this;
    const back = from?.reading === reading && entered !== undefined && isSame(entered, shown);
    this.from = shown;
    this.entered = undefined;
    return back ? { step: from.step, cycle: from.cycle } : undefined;
  }

  /** A picture is shown. */
  arrive(picture: Shown): void {
    if (this.from !== undefined && this.entered === undefined && picture.reading !== this.from.reading) {
      this.entered = { reading: picture.reading, step: picture.step, cycle: picture.cycle };
    }
  }
}
