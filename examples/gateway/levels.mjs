#!/usr/bin/env node
// Prints a level live, with Node alone: levels.mjs [URL [DEVICE [KEY]]]
const [url = 'http://127.0.0.1:8080', device = 'desk', key = 'input/1/peak'] = process.argv.slice(2);
const query = new URLSearchParams({ streams: 'fast', hz: 10, keys: key });

const response = await fetch(`${url}/api/devices/${device}/stream?${query}`);
if (!response.ok) throw new Error(await response.text());
let text = '';
for await (const piece of response.body.pipeThrough(new TextDecoderStream())) {
  const lines = (text + piece).split('\n');
  text = lines.pop(); // not whole yet
  for (const line of lines.filter((one) => one.startsWith('data: '))) {
    const { entries = [] } = JSON.parse(line.slice(6)); // an event about the device's state has none
    for (const { value } of entries) console.log(value);
  }
}
