import assert from 'node:assert/strict';
import { test } from 'node:test';
import { sentDocument } from '../lib/sentDocument.mjs';

test('the leading _id becomes -id', () => {
  assert.deepEqual(sentDocument('{"_id":"a","_rev":"1-x","v":1}\n'), { '-id': 'a', _rev: '1-x', v: 1 });
});

test('contents and resources leave the top level alone', () => {
  const text = '{"_id":"a","contents":1,"resources":{},"x":{"contents":2,"resources":3}}';
  assert.deepEqual(sentDocument(text), { '-id': 'a', x: { contents: 2, resources: 3 } });
});

test('the second index gets the next _id in the order of names renamed too', () => {
  const text = '{"_id":"a","z":{"_id":1},"b":{"_id":2}}';
  assert.deepEqual(sentDocument(text, 2), { '-id': 'a', z: { _id: 1 }, b: { '-id': 2 } });
  assert.deepEqual(sentDocument(text, 3), { '-id': 'a', z: { '-id': 1 }, b: { '-id': 2 } });
});

test('a nested _id in a dropped member is not there to be renamed', () => {
  const text = '{"_id":"a","contents":{"_id":1},"x":{"_id":2}}';
  assert.deepEqual(sentDocument(text, 2), { '-id': 'a', x: { '-id': 2 } });
});

test('a value that is _id is renamed as well', () => {
  assert.deepEqual(sentDocument('{"_id":"a","k":"_id"}', 2), { '-id': 'a', k: '-id' });
});

test('the end of a value behind an escaped quote is renamed', () => {
  assert.deepEqual(sentDocument('{"_id":"a","k":"x\\"_id"}', 2), { '-id': 'a', k: 'x"-id' });
});

test('an escaped quote behind _id protects it', () => {
  assert.deepEqual(sentDocument('{"_id":"a","k":"\\"_id\\""}', 2), { '-id': 'a', k: '"_id"' });
});

test('names are ordered by code points, not by UTF-16', () => {
  const text = '{"_id":"a","\u{1d11e}":{"_id":1},"\uffee":{"_id":2}}';
  assert.deepEqual(sentDocument(text, 2), { '-id': 'a', '\u{1d11e}': { _id: 1 }, '\uffee': { '-id': 2 } });
});

test('a lone surrogate stays', () => {
  assert.deepEqual(sentDocument('{"_id":"a","k":"\\ud800"}', 2), { '-id': 'a', k: '\ud800' });
});
