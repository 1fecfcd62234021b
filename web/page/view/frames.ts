/** With reduced motion, pictures a second. */
const calmRate = 5;

const calmWish = matchMedia('(prefers-reduced-motion: reduce)');

let calm = calmWish.matches;
calmWish.addEventListener('change', () => (calm = calmWish.matches));

/** Whether the person wants little motion. Kept, because to ask the browser for each picture costs as much as many bars. */
export const isCalm = () => calm;
export const onCalmWish = (changed: () => void) => calmWish.addEventListener('change', changed);

/** Calls `draw` for the next picture after a request: as often as the screen shows one, or five times a second. */
export class Frames {
  private requested = false;
  private last = -Infinity;

  constructor(private readonly draw: (now: number) => void) {}

  request(): void {
    if (this.requested) return;
    this.requested = true;
    const wait = isCalm() ? this.last + 1000 / calmRate - performance.now() : 0;
    if (wait > 0) setTimeout(() => requestAnimationFrame(this.show), wait);
    else requestAnimationFrame(this.show);
  }

  private readonly show = () => {
    this.requested = false;
    this.last = performance.now();
    this.draw(this.last);
  };
}
