// Captions of a recording: valid by the rules of the W3C, and shown by Chromium at their times.
//
// usage: node captions_test.mjs PACKAGES_FOLDER FOLDER
// FOLDER: what speaker_outputs_test.py leaves. Ends with status 77 and a reason where there is no
// browser to test with.
import assert from 'node:assert/strict';
import { readFileSync } from 'node:fs';
import { join } from 'node:path';
import { launchChromium, loadPackage, skipWithout } from './chromium.mjs';
import { serveFiles } from './file_server.mjs';

const [packagesFolder, folder] = process.argv.slice(2);
const MODES = ['encode', 'copy'];
const NAMES = ['Anna', 'Ben <i>', 'Carla 日'];

const validator = loadPackage(packagesFolder, 'webvtt-parser') || skipWithout('webvtt-parser');

function parse(file) {
  const result = new validator.WebVTTParser().parse(readFileSync(file, 'utf8'));
  assert.deepEqual(result.errors, [], file);
  return result.cues;
}

// The text and the voice of each cue that a video shows at `second`.
const show = async ({ name, second }) => {
  const video = document.createElement('video');
  video.muted = true;
  video.src = `/${name}.mp4`;
  const track = document.createElement('track');
  track.kind = 'captions';
  track.src = `/${name}.vtt`;
  track.default = true;
  video.append(track);
  document.body.replaceChildren(video);
  await Promise.all([
    new Promise((done, failed) => { track.onload = done; track.onerror = failed; }),
    new Promise((done, failed) => { video.onloadeddata = done; video.onerror = failed; }),
  ]);
  const seeked = new Promise((done) => { video.onseeked = done; });
  video.currentTime = second;
  await seeked;
  await new Promise((done) => setTimeout(done, 100));
  return [...video.textTracks[0].activeCues].map((cue) => ({
    text: cue.getCueAsHTML().textContent,
    voice: cue.getCueAsHTML().firstElementChild.title,
  }));
};

const browser = await launchChromium(packagesFolder);
const files = MODES.flatMap((mode) => [join(folder, `${mode}.mp4`), join(folder, `${mode}.vtt`)]);
const server = await serveFiles(files, '<!doctype html><title>captions</title>');
try {
  const page = await browser.newPage();
  await page.goto(`http://127.0.0.1:${server.address().port}/`);
  for (const name of MODES) {
    const cues = parse(join(folder, `${name}.vtt`));
    assert.equal(cues.length, NAMES.length);
    for (const [i, cue] of cues.entries()) {
      for (const second of [cue.startTime + 0.05, (cue.startTime + cue.endTime) / 2, cue.endTime - 0.05]) {
        const shown = await page.evaluate(show, { name, second });
        const expected = cues.flatMap((other, at) => (
          other.startTime <= second && second < other.endTime ? [{ text: NAMES[at], voice: NAMES[at] }] : []));
        assert.deepEqual(shown, expected, `${name} at ${second}`);
        assert.ok(shown.some((one) => one.text === NAMES[i]));
      }
    }
  }
} finally {
  await browser.close();
  server.close();
}
console.log('the captions are valid and shown at their times');
