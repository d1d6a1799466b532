// The record of a short meeting: real pictures and sound, and a speaker timeline with names that are hard
// to show.
import { execFileSync } from 'node:child_process';
import { writeFileSync } from 'node:fs';
import { join } from 'node:path';
import { CAMERA, DESKTOP, RecordWriter } from './record_writer.mjs';

const SECOND = 1e6;
const AUDIO_FRAME_US = 21333;
const FRAME_RATE = 5;
const SECONDS = 60;

export const TITLE = `Weekly & <b>plans</b> ${'x'.repeat(60)}`;
export const PEOPLE = [
  { id: 11, name: 'Ada Lovelace' },
  { id: 12, name: '<script>alert(1)</script>' },
  { id: 13, name: '\u202Eשלום evil' },
  { id: 14, name: '👩‍👩‍👧 Émilie' },
  { id: 15, name: 'W'.repeat(256) },
  { id: 16, name: 'Nobody heard me' },
];

// Seconds: who speaks from when to when. The second and the third overlap.
export const TURNS = [
  [11, 1, 12], [12, 12, 20], [13, 18, 30], [11, 30, 34], [14, 34, 44], [15, 44, 50], [11, 51, 59],
];

// Seconds: who is seen from then on, with which media type, and how the camera was held.
const VIEWS = [
  [1, 11, CAMERA, 0], [12, 12, CAMERA, 0], [20, 13, CAMERA, 90], [31, 11, DESKTOP, 0], [45, 15, CAMERA, 0],
];

function ffmpeg(...args) {
  return execFileSync('ffmpeg', ['-loglevel', 'error', ...args, '-'], { maxBuffer: 1 << 28 });
}

// The pictures of `filter`, a key frame each second, as access units.
function pictures(filter) {
  const stream = ffmpeg('-f', 'lavfi', '-i', `${filter}=size=320x180:rate=${FRAME_RATE}:duration=${SECONDS}`,
    '-c:v', 'libx264', '-preset', 'ultrafast', '-pix_fmt', 'yuv420p', '-g', String(FRAME_RATE),
    '-x264-params', 'aud=1:bframes=0:repeat-headers=1', '-f', 'h264');
  const delimiter = Buffer.from([0, 0, 0, 1, 9]);
  const units = [];
  for (let at = 0; at >= 0 && at < stream.length;) {
    const next = stream.indexOf(delimiter, at + delimiter.length);
    units.push(stream.subarray(at, next < 0 ? stream.length : next));
    at = next;
  }
  return units;
}

function sound() {
  const stream = ffmpeg('-f', 'lavfi', '-i', `sine=duration=${SECONDS + 1}:sample_rate=48000`,
    '-ac', '2', '-c:a', 'aac', '-b:a', '48k', '-f', 'adts');
  const frames = [];
  for (let at = 0; at + 7 <= stream.length;) {
    const size = ((stream[at + 3] & 3) << 11) | (stream[at + 4] << 3) | (stream[at + 5] >> 5);
    frames.push(stream.subarray(at, at + size));
    at += size;
  }
  return frames;
}

function timelineText() {
  const events = [
    { event: 'start', us: 0, utc: '2026-11-22T09:30:00.250000Z' },
    ...PEOPLE.map(({ id, name }) => ({ event: 'joined', us: 0, user_id: id, name })),
    ...TURNS.flatMap(([id, from, to]) => [[id, from, true], [id, to, false]]).map(([id, second, on]) => (
      { event: 'voice', us: second * SECOND, user_id: id, on })),
    ...VIEWS.map(([second, id, type]) => (
      { event: 'selected', us: second * SECOND, ssrc: id, user_id: id, media_type: type })),
    { event: 'stop', us: SECONDS * SECOND },
  ].sort((a, b) => a.us - b.us);
  return [{ speaker_timeline: 1, title: TITLE }, ...events].map((line) => `${JSON.stringify(line)}\n`).join('');
}

// Writes the record into `folder`.
export function writeMeeting(folder) {
  const record = new RecordWriter();
  const audio = sound();
  const video = { [CAMERA]: pictures('testsrc2'), [DESKTOP]: pictures('smptehdbars') };
  const events = [];
  for (let i = 0; i * AUDIO_FRAME_US < SECONDS * SECOND; i += 1) {
    events.push([i * AUDIO_FRAME_US, (us) => record.audio(us, audio[i])]);
  }
  VIEWS.forEach(([second, , type, rotation], k) => {
    const end = VIEWS[k + 1]?.[0] ?? SECONDS;
    events.push([second * SECOND, (us) => {
      record.channel(us, type);
      record.attributes(us, 320, 180, rotation);
    }]);
    for (let i = second * FRAME_RATE; i < end * FRAME_RATE; i += 1) {
      events.push([i * SECOND / FRAME_RATE + 1, (us) => record.video(us, video[type][i])]);
    }
  });
  events.sort((a, b) => a[0] - b[0]);
  record.start(0);
  for (const [us, write] of events) write(us);
  record.stop(SECONDS * SECOND);
  record.write(folder);
  writeFileSync(join(folder, 'SpeakerTimeline.ndjson'), timelineText());
}
