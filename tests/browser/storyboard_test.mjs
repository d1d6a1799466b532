// A storyboard: valid by the rules of the W3C, and Chromium, which reads it as a player does, finds the
// colour of each second where the cue of that second says.
//
// usage: node storyboard_test.mjs KXRTC PACKAGES_FOLDER
// Ends with status 77 and a reason where there is no browser to test with.
import assert from 'node:assert/strict';
import { execFileSync } from 'node:child_process';
import { mkdtempSync, readdirSync, readFileSync, rmSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { launchChromium, loadPackage, skipWithout } from './chromium.mjs';
import { serveFiles } from './file_server.mjs';
import { CAMERA, RecordWriter } from './record_writer.mjs';

const [kxrtc, packagesFolder] = process.argv.slice(2);
const SECOND = 1e6;
const COLOURS = { red: [255, 0, 0], green: [0, 128, 0], blue: [0, 0, 255], yellow: [255, 255, 0] };
const SHOWN = ['red', 'green', 'blue', 'yellow', 'red', 'blue'];  // For a second each.
const TOLERANCE = 24;

const validator = loadPackage(packagesFolder, 'webvtt-parser') || skipWithout('webvtt-parser');

function picture(colour) {
  return execFileSync('ffmpeg', ['-loglevel', 'error', '-f', 'lavfi', '-i', `color=${colour}:s=320x180:r=10`,
    '-frames:v', '1', '-c:v', 'libx264', '-preset', 'ultrafast', '-pix_fmt', 'yuv420p', '-f', 'h264', '-']);
}

function writeRecord(folder) {
  const record = new RecordWriter();
  record.start(0);
  record.channel(1, CAMERA);
  record.attributes(2, 320, 180);
  SHOWN.forEach((colour, second) => record.video(second * SECOND + 10, picture(colour)));
  record.stop(SHOWN.length * SECOND);
  record.write(folder);
}

// The pixel in the middle of the picture that a player shows for `second`.
const show = async (second) => {
  const video = document.createElement('video');
  const track = document.createElement('track');
  track.kind = 'metadata';
  track.src = '/storyboard.vtt';
  video.append(track);
  track.track.mode = 'hidden';
  document.body.replaceChildren(video);
  await new Promise((done, failed) => { track.onload = done; track.onerror = failed; });
  const cue = [...track.track.cues].find((one) => one.startTime <= second && second < one.endTime);
  const url = new URL(cue.text, track.src);
  const [x, y, width, height] = url.hash.replace('#xywh=', '').split(',').map(Number);
  const image = new Image();
  image.src = url;
  await image.decode();
  const canvas = document.createElement('canvas');
  canvas.width = width;
  canvas.height = height;
  const context = canvas.getContext('2d');
  context.drawImage(image, x, y, width, height, 0, 0, width, height);
  return [...context.getImageData(width / 2, height / 2, 1, 1).data].slice(0, 3);
};

const folder = mkdtempSync(join(tmpdir(), 'storyboard-'));
let browser;
let server;
try {
  browser = await launchChromium(packagesFolder);
  writeRecord(folder);
  const out = join(folder, 'out');
  execFileSync(kxrtc, ['thumbnails', '--interval', '1', folder, out]);
  const parsed = new validator.WebVTTParser().parse(readFileSync(join(out, 'storyboard.vtt'), 'utf8'), 'metadata');
  assert.deepEqual(parsed.errors, []);
  server = await serveFiles(readdirSync(out).map((name) => join(out, name)),
    '<!doctype html><title>storyboard</title>');
  const page = await browser.newPage();
  await page.goto(`http://127.0.0.1:${server.address().port}/`);
  for (const [second, colour] of SHOWN.entries()) {
    const pixel = await page.evaluate(show, second + 0.02);
    const distance = Math.max(...pixel.map((value, i) => Math.abs(value - COLOURS[colour][i])));
    assert.ok(distance < TOLERANCE, `second ${second} is ${pixel}, not ${colour}`);
  }
} finally {
  await browser?.close();
  server?.close();
  rmSync(folder, { recursive: true });
}
console.log('the storyboard is valid and shows the right pictures');
