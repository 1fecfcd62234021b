// Runs in a page before its own script: when what came is on the screen.
import { EntryCursor, kinds } from '../../client/entries.js';
import { decodeMessage } from '../../client/messages.js';

/** Times in ms. */
export interface Probe {
  /** Since the address was opened, of the first picture with a level in colour; NaN before. */
  first: number;
  /** The engine's time of an update, and when the frame after the one that shows it began: since 1970. */
  shown: [number, number][];
}

const probe: Probe = { first: NaN, shown: [] };
Object.assign(window, { probe });

let newest = NaN;

/** NaN if it is no update of the fast meters. */
function engineTime(data: ArrayBuffer): number {
  const message = decodeMessage(new Uint8Array(data));
  if (message?.type !== 'update' || message.stream !== 'fast') return NaN;
  const cursor = new EntryCursor();
  cursor.open(message.entries);
  while (cursor.next()) if (cursor.kind === kinds.double && cursor.key() === 'engine/time') return cursor.number;
  return NaN;
}

class ProbedSocket extends WebSocket {
  constructor(url: string, protocol: string) {
    super(url, protocol);
    super.addEventListener('message', ({ data }: MessageEvent<ArrayBuffer>) => {
      const time = engineTime(data);
      if (!Number.isNaN(time)) newest = time;
    });
  }
}

const nextFrame = window.requestAnimationFrame.bind(window);
const wallClock = () => performance.timeOrigin + performance.now();

function afterFrame(): void {
  const time = newest;
  newest = NaN;
  if (!Number.isNaN(time)) nextFrame(() => probe.shown.push([time, wallClock()]));
}

const { prototype } = CanvasRenderingContext2D;
const fillRect = Object.getOwnPropertyDescriptor(prototype, 'fillRect')?.value as (...box: number[]) => void;

/** The colours of levels, and of nothing else, in either theme. */
const isLevel = (colour: unknown) => colour === '#00b34a' || colour === '#00913c';

prototype.fillRect = function (...box) {
  fillRect.apply(this, box);
  if (!isLevel(this.fillStyle)) return;
  prototype.fillRect = fillRect;
  nextFrame(() => (probe.first = performance.now()));
};

Object.assign(window, {
  WebSocket: ProbedSocket,
  requestAnimationFrame: (draw: FrameRequestCallback) =>
    nextFrame((time) => {
      draw(time);
      afterFrame();
    }),
});
