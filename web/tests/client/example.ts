// The example of the README, compiled.
import { LiveClient } from '../../client/index.js';

const client = new LiveClient({ urls: ['ws://127.0.0.1:8080/live'] });
const { fast } = client.subscribe({ device: 'desk', streams: ['fast'], keys: ['input/*/peak'] });
let [place, layout] = [-1, -1];
function draw(): void {
  if (layout !== fast.layout) place = fast.keys.indexOf('input/1/peak');
  layout = fast.layout;
  document.title = place < 0 ? 'no level' : `${fast.numbers[place].toFixed(1)} dB`;
  client.drawn();
  requestAnimationFrame(draw);
}
draw();
