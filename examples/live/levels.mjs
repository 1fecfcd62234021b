#!/usr/bin/env node
// Prints a level live, as a viewer of the gateway: levels.mjs [URL [DEVICE [KEY]]]
import { LiveClient } from 'corvalux-web/client';
import WebSocket from 'ws'; // from Node 22 on there is one without it

const [url = 'ws://127.0.0.1:8080/live', device = 'desk', key = 'input/1/peak'] = process.argv.slice(2);

const client = new LiveClient({
  urls: [url],
  webSocket: (address, protocol) => new WebSocket(address, protocol),
  events: {
    connection: ({ phase, reason }) => {
      if (phase === 'waiting') console.error(`no levels: ${reason}; trying again`);
      if (phase === 'refused') throw new Error(reason);
    },
  },
});
const show = () => {
  fast.keys.forEach((_, place) => console.log(fast.numbers[place].toFixed(1)));
  client.drawn(); // otherwise there are two updates, and no more
};
const { fast } = client.subscribe(
  { device, streams: ['fast'], keys: [key], rate: 10 },
  { snapshot: show, update: show, ended: (_, text) => console.error(text) },
);
process.once('SIGINT', () => client.close());
