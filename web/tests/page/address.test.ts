import assert from 'node:assert/strict';
import { test } from 'node:test';
import { formatAddress, liveUrls, nowhere, parseAddress } from '../../page/model/address.js';

test('an empty address is all devices', () => {
  for (const hash of ['', '#', '#/']) assert.deepEqual(parseAddress(hash), nowhere);
});

test('a device with a choice of strips and a rate', () => {
  assert.deepEqual(parseAddress('#/desk?keys=input/*&keys=bus/1&rate=25'), {
    ...nowhere,
    device: 'desk',
    keys: ['input/*', 'bus/1'],
    rate: 25,
  });
});

test('a wall has strips of several devices', () => {
  const { wall } = parseAddress('#/?show=desk:input/*&show=stage');
  assert.deepEqual(wall, [
    { device: 'desk', strips: 'input/*' },
    { device: 'stage', strips: '**' },
  ]);
});

test('what is written is read back', () => {
  const address = {
    device: 'desk',
    wall: [{ device: 'a', strips: 'x: y/**' }],
    keys: ['größe/*', 'a+b&c=d'],
    filter: '50 %',
    rate: 12.5,
    keepsPeaks: true,
    gateways: ['wss://other:1/x/live'],
  };
  assert.deepEqual(parseAddress(formatAddress(address)), address);
});

test('an address is written so that a person can read it', () => {
  const address = { ...nowhere, device: 'desk', keys: ['input/*'], rate: 25 };
  assert.equal(formatAddress(address), '#/desk?keys=input/*&rate=25');
});

test('what makes no sense is left out', () => {
  assert.deepEqual(parseAddress('#/?rate=fast&keys=&show='), nowhere);
  assert.equal(parseAddress('#/%E0%A4%A').device, '%E0%A4%A');
});

test('the socket is beside the page, also below a path', () => {
  assert.deepEqual(liveUrls('http://host:8080/?x#/desk', []), ['ws://host:8080/live']);
  assert.deepEqual(liveUrls('https://host/meters/#/', []), ['wss://host/meters/live']);
});

test('further gateways are named by host or by address', () => {
  const further = ['10.0.0.2:8080', 'wss://b/meters/live', 'http://c/'];
  const expected = ['ws://10.0.0.2:8080/live', 'wss://b/meters/live', 'ws://c/live'];
  assert.deepEqual(liveUrls('http://a/', further).slice(1), expected);
});

test('what is no address of a gateway is left out', () => {
  assert.deepEqual(liveUrls('http://a/', ['ftp://b', ':://']), ['ws://a/live']);
});
