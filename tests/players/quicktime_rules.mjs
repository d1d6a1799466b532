// Checks an MP4 against what Apple's QuickTime File Format documents ask of a file, as far as its boxes
// tell it; they are read by a parser that shares nothing with the writer.
//
// usage: node quicktime_rules.mjs NODE_FOLDER FILE.mp4
// Prints a line for each broken rule and ends with status 1 then, with 77 and the reason where the parser
// is missing.
import { readFileSync, statSync } from 'node:fs';
import { loadPackage, skipWithout } from '../browser/chromium.mjs';

const BRANDS = ['isom', 'mp41', 'mp42', 'M4A ', 'M4V ', 'qt  '];
const PROFILES = new Map([[66, 'Baseline'], [77, 'Main'], [100, 'High']]);
const ENABLED_IN_MOVIE = 3;
const AAC = 0x40;
const AAC_LC = 2;
const ONE = 65536;

const [nodeFolder, path] = process.argv.slice(2);
const mp4box = loadPackage(nodeFolder, 'mp4box');
if (!mp4box) skipWithout('mp4box');

const broken = [];
const must = (holds, rule) => {
  if (!holds) broken.push(rule);
};
const sum = (numbers) => numbers.reduce((total, number) => total + number, 0);

function parse() {
  const { buffer, byteOffset, length } = readFileSync(path);
  const bytes = buffer.slice(byteOffset, byteOffset + length);
  bytes.fileStart = 0;
  const file = mp4box.createFile();
  file.onError = (module, message) => must(false, `not read by the parser: ${module} ${message}`);
  file.appendBuffer(bytes);
  file.flush();
  return file;
}

function checkFile(file, size) {
  const types = file.boxes.map((box) => box.type);
  must(types[0] === 'ftyp', 'a file type box comes first');
  must([file.ftyp.major_brand, ...file.ftyp.compatible_brands].some((brand) => BRANDS.includes(brand)),
    'the file has a brand that QuickTime knows');
  must(types.filter((type) => type === 'moov').length === 1, 'there is one movie box');
  must(types.indexOf('moov') < types.indexOf('mdat'), 'the movie box comes before the media, for playing while it loads');
  must(sum(file.boxes.map((box) => box.size)) === size, 'the boxes are the whole file');
  must(!types.includes('moof'), 'the movie is not in fragments');
  const longest = Math.max(...file.moov.traks.map((track) => track.tkhd.duration));
  must(Math.abs(file.moov.mvhd.duration - longest) <= 1, 'the movie is as long as its longest track');
}

function checkVideo(entry, track) {
  must(entry.type === 'avc1', `pictures have the sample entry avc1, not ${entry.type}`);
  const { avcC } = entry;
  must(avcC && avcC.SPS.length > 0 && avcC.PPS.length > 0, 'parameter sets stand in the sample entry');
  must(PROFILES.has(avcC?.AVCProfileIndication), `the profile ${avcC?.AVCProfileIndication} is Baseline, Main or High`);
  const matrix = Array.from(track.tkhd.matrix);
  must([0, 1, 3, 4].every((i) => [0, ONE, -ONE].includes(matrix[i])) && sum([0, 1, 3, 4].map((i) => Math.abs(matrix[i]))) === 2 * ONE,
    'the pictures are turned by a multiple of 90 degrees');
}

function checkAudio(entry) {
  must(entry.type === 'mp4a', `sound has the sample entry mp4a, not ${entry.type}`);
  const config = entry.esds?.esd.descs.find((descriptor) => descriptor.tag === 4);
  must(config?.oti === AAC, 'the sound is MPEG-4 audio');
  must(config?.descs[0]?.data[0] >> 3 === AAC_LC, 'the sound is AAC-LC');
}

function checkEdits(track, movie) {
  const edits = track.edts?.elst?.entries;
  if (!edits) return;
  const { timescale, duration } = track.mdia.mdhd;
  must(edits.every((edit) => edit.media_rate_integer === 1 && edit.media_rate_fraction === 0), 'edits play at rate 1');
  must(edits.every((edit, i) => edit.media_time >= 0 || i === 0), 'only the first edit is empty');
  must(Math.abs(sum(edits.map((edit) => edit.segment_duration)) - track.tkhd.duration) <= 1, 'a track is as long as its edits');
  const rounding = 1 / timescale + 1 / movie.timescale;
  must(edits.every((edit) => edit.media_time < 0
      || edit.media_time / timescale + edit.segment_duration / movie.timescale <= duration / timescale + rounding),
  'edits end where the media ends');
}

function checkSamples(file, track) {
  const table = track.mdia.minf.stbl;
  const samples = file.getTrackSamplesInfo(track.tkhd.track_id);
  must(samples.length > 0, 'a track has samples');
  must(sum(Array.from(table.stts.sample_counts)) === samples.length, 'the table of times has each sample');
  must(!table.ctts || sum(Array.from(table.ctts.sample_counts)) === samples.length, 'the table of offsets has each sample');
  must(!table.ctts || table.ctts.version === 1 || table.ctts.sample_offsets.every((offset) => offset >= 0), 'offsets are not negative');
  must(samples.every((sample) => sample.duration > 0), 'each sample has a duration');
  must(samples[0]?.is_sync, 'the first sample is a key frame');
  const media = file.boxes.filter((box) => box.type === 'mdat');
  must(samples.every(({ offset, size }) => media.some((box) => offset >= box.start + box.hdr_size && offset + size <= box.start + box.size)),
    'samples are in the media box');
}

function checkTrack(file, track) {
  const { handler } = track.mdia.hdlr;
  if (handler !== 'vide' && handler !== 'soun') return;  // Chapters: no player has to know them.
  must((track.tkhd.flags & ENABLED_IN_MOVIE) === ENABLED_IN_MOVIE, 'tracks are enabled');
  for (const entry of track.mdia.minf.stbl.stsd.entries) {
    if (handler === 'vide') checkVideo(entry, track);
    else checkAudio(entry);
  }
  checkEdits(track, file.moov.mvhd);
  checkSamples(file, track);
}

const file = parse();
if (file.moov) {
  checkFile(file, statSync(path).size);
  for (const track of file.moov.traks) checkTrack(file, track);
} else {
  must(false, 'there is a movie box');
}
for (const rule of new Set(broken)) console.log(`broken: ${rule}`);
process.exitCode = broken.length ? 1 : 0;
