// Plays transcoded MP4 files to their end in headless Chromium, served on localhost as a site would.
//
// usage: node playback.mjs PLAYWRIGHT_FOLDER SCREENSHOT_FOLDER FILE.mp4...
// A name that ends in "-1920x1080.mp4" tells the size that must be shown.
// Ends with status 77 and a reason where there is no browser to test with. Screenshots are taken at
// each second that SCREENSHOT_SECONDS lists (default: none).
import { mkdirSync } from 'node:fs';
import { basename, join } from 'node:path';
import { launchChromium } from './chromium.mjs';
import { serveFiles } from './file_server.mjs';

const LIMIT_MS = 60000;  // For one file.
const [playwrightFolder, screenshotFolder, ...files] = process.argv.slice(2);
const seconds = (process.env.SCREENSHOT_SECONDS || '').split(',').filter(Boolean).map(Number);

const PAGE = '<!doctype html><style>body{margin:0;background:#888}video{height:100vh}</style><video></video>';

// Plays from the start at four times the speed; the outcome once it ended or failed.
const play = ({ source, limit }) => new Promise((done) => {
  const video = document.querySelector('video');
  const outcome = () => ({
    error: video.error && `${video.error.code} ${video.error.message}`, ended: video.ended,
    time: video.currentTime, duration: video.duration,
    frames: video.getVideoPlaybackQuality().totalVideoFrames,
    dropped: video.getVideoPlaybackQuality().droppedVideoFrames,
  });
  const sizes = [];
  video.addEventListener('resize', () => sizes.push(`${video.videoWidth}x${video.videoHeight}`));
  for (const event of ['ended', 'error']) video.addEventListener(event, () => done({ ...outcome(), sizes }));
  setTimeout(() => done({ ...outcome(), error: 'stalled', sizes }), limit);
  video.muted = true;
  video.src = source;
  video.playbackRate = 4;
  video.play();
});

const seek = (second) => new Promise((done) => {
  const video = document.querySelector('video');
  video.addEventListener('seeked', () => requestAnimationFrame(() => requestAnimationFrame(done)), { once: true });
  video.currentTime = second;
});

// What is wrong; empty if the file played to its end.
function faultOf(outcome) {
  if (outcome.error || !outcome.ended) return `FAILED: ${outcome.error || 'did not end'}`;
  if (Math.abs(outcome.time - outcome.duration) >= 0.1) return 'FAILED: stopped before its end';
  const [, size] = /-(\d+x\d+)\.mp4$/.exec(outcome.name) || [];
  if (size && !outcome.sizes.includes(size)) return `FAILED: is not shown as ${size}`;
  return outcome.frames > 0 ? '' : 'FAILED: no picture was shown';
}

const browser = await launchChromium(playwrightFolder);
const server = await serveFiles(files, PAGE);
let failures = 0;
try {
  for (const file of files) {
    const page = await browser.newPage({ viewport: { width: 960, height: 540 } });
    await page.goto(`http://127.0.0.1:${server.address().port}/`);
    const outcome = await page.evaluate(play, { source: `/${basename(file)}`, limit: LIMIT_MS });
    const fault = faultOf({ ...outcome, name: basename(file) });
    if (fault) failures += 1;
    console.log(basename(file), JSON.stringify(outcome), fault);
    for (const second of seconds) {
      mkdirSync(screenshotFolder, { recursive: true });
      await page.evaluate(seek, second);
      await page.screenshot({ path: join(screenshotFolder, `${basename(file)}-${second}.png`) });
    }
    await page.close();
  }
} finally {
  await browser.close();
  server.close();
}
process.exitCode = failures ? 1 : 0;
