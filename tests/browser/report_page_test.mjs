// Opens the report page of a record in headless Chromium: it renders without a console error, a click
// and the keys place the cursor and the video, light and dark differ, names are not taken for markup.
//
// usage: node report_page_test.mjs KXRTC PLAYWRIGHT_FOLDER [SCREENSHOT_FOLDER]
// Ends with status 77 and a reason where there is no browser to test with.
import assert from 'node:assert/strict';
import { execFileSync } from 'node:child_process';
import { mkdirSync, mkdtempSync, appendFileSync, rmSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join, resolve } from 'node:path';
import { launchChromium, openPage } from './chromium.mjs';
import { CAMERA, DESKTOP, RecordWriter } from './record_writer.mjs';

const [kxrtc, playwrightFolder, screenshotFolder] = process.argv.slice(2);
const browser = await launchChromium(playwrightFolder);

// ---- A record with every kind of stretch ----------------------------------------------------------

const FRAME_US = 21333;

function writeRecord(folder) {
  const record = new RecordWriter();
  // 640x360 Baseline, then a slice of the wanted size.
  const sps = Buffer.from('000000016742c01eda0280bfe540', 'hex');
  const slice = (header, size) => Buffer.concat([Buffer.from([0, 0, 0, 1, header]), Buffer.alloc(size, 0x5a)]);
  const adts = (size) => {
    const bytes = Buffer.alloc(size, 0x21);
    Buffer.from([0xff, 0xf1, 0x4c, 0x80 | (size >> 11), (size >> 3) & 0xff, ((size & 7) << 5) | 0x1f, 0xfc]).copy(bytes);
    return bytes;
  };
  let time = 0;
  // `picture(i)` tells what comes with the i-th audio frame: 'key', 'delta' or nothing.
  const play = (count, picture = () => '') => {
    for (let i = 0; i < count; i += 1) {
      time += FRAME_US;
      const kind = picture(i);
      if (kind === 'key') record.video(time, Buffer.concat([sps, slice(0x65, 9000)]));
      if (kind === 'delta') record.video(time, slice(0x41, 600 + (i * 37) % 900));
      record.audio(time + 1, adts(170 + i % 40));
    }
  };
  const camera = (i) => (i % 94 === 0 ? 'key' : i % 2 ? '' : 'delta');
  record.start(time);
  play(60);
  record.channel(time, CAMERA);
  record.attributes(time, 640, 360);
  play(300, camera);
  record.channel(time, DESKTOP);
  record.attributes(time, 640, 360);
  play(420, (i) => (i === 0 ? 'key' : i < 100 ? 'delta' : ''));
  play(100, (i) => (i < 50 ? 'delta' : camera(i - 50)));
  record.stop(time + 10);
  time += 2000000;
  record.start(time);
  record.channel(time + 1, 0);
  play(100);
  record.channel(time, CAMERA);
  record.attributes(time, 640, 360);
  play(100, camera);
  record.torn();
  record.write(folder);
}

// ---- The test ------------------------------------------------------------------------------------

const work = mkdtempSync(join(tmpdir(), 'kxrtc_report_'));
// A name that would be markup if anybody took it for that.
const record = join(work, 'monday <img src=x onerror=alert(1)> & co');
const repaired = join(work, 'repaired');
const mp4 = join(work, 'out video.mp4');
const page = join(work, 'report.html');

function run(...args) {
  return execFileSync(resolve(kxrtc), args, { encoding: 'utf8' });
}

const now = (tab) => tab.locator('#timeline').getAttribute('aria-valuenow').then(Number);
const videoTime = (tab) => tab.evaluate(() => document.getElementById('video').currentTime);

async function waitForVideo(tab) {
  await tab.waitForFunction(() => document.getElementById('video').readyState >= 1);
}

async function testClickSeeks(tab) {
  await waitForVideo(tab);
  const box = await tab.locator('#timeline').boundingBox();
  await tab.mouse.click(box.x + box.width / 2, box.y + 40);
  const duration = Number(await tab.locator('#timeline').getAttribute('aria-valuemax'));
  assert.ok(Math.abs(await now(tab) - duration / 2) < duration / 100, 'the cursor stands where the click was');
  await tab.waitForFunction(() => !document.getElementById('video').seeking);
  assert.ok(Math.abs(await videoTime(tab) - duration / 2) < duration / 100, 'the video stands there too');
}

async function testKeys(tab) {
  await tab.locator('#timeline').focus();
  await tab.keyboard.press('Home');
  assert.equal(await now(tab), 0);
  await tab.keyboard.press('ArrowRight');
  assert.ok(await now(tab) > 0, 'an arrow moves the cursor');
  const step = await now(tab);
  await tab.keyboard.press('+');
  await tab.keyboard.press('ArrowRight');
  assert.ok(await now(tab) - step < step * 0.6, 'zoomed in, the arrow makes smaller steps');
  await tab.keyboard.press('0');
  await tab.keyboard.press('End');
  const duration = Number(await tab.locator('#timeline').getAttribute('aria-valuemax'));
  assert.equal(await now(tab), duration);
  // Every control can be reached and used without a pointer.
  await tab.keyboard.press('Home');
  await tab.locator('summary').focus();
  await tab.keyboard.press('Enter');
  await tab.locator('#spans button').nth(1).focus();
  await tab.keyboard.press('Enter');
  assert.ok(await now(tab) > 0, 'the table jumps');
}

async function testContent(tab, shown) {
  assert.equal(await tab.locator('#folder img').count(), 0, 'names are text');
  assert.ok((await tab.locator('#folder').textContent()).includes(shown));
  assert.ok(await tab.locator('#findings tbody tr').count() > 2, 'findings are listed');
  const all = await tab.locator('#findings tbody tr').count();
  await tab.locator('#filters input').last().uncheck();
  assert.ok(await tab.locator('#findings tbody tr').count() < all, 'a filter hides findings');
  await tab.locator('#filters input').last().check();
  assert.equal(await tab.locator('#sessions tbody tr').count(), 2);
  const drawn = await tab.evaluate(() => {
    const canvas = document.getElementById('canvas');
    const { data } = canvas.getContext('2d').getImageData(0, 0, canvas.width, canvas.height);
    return new Set(new Uint32Array(data.buffer)).size;
  });
  assert.ok(drawn > 8, 'the timeline is drawn in several colours');
  const overflow = await tab.evaluate(() => document.documentElement.scrollWidth - window.innerWidth);
  assert.ok(overflow <= 0, 'the page is not wider than the window');
}

async function testLooks(browser, problems, name) {
  const backgrounds = new Set();
  for (const colorScheme of ['light', 'dark']) {
    for (const viewport of [{ width: 1280, height: 900 }, { width: 400, height: 800 }]) {
      const tab = await openPage(browser, page, { colorScheme, viewport }, problems);
      await testContent(tab, name);
      backgrounds.add(await tab.evaluate(() => getComputedStyle(document.body).backgroundColor));
      if (screenshotFolder) {
        await waitForVideo(tab);
        await tab.screenshot({ path: join(screenshotFolder, `${colorScheme}-${viewport.width}.png`), fullPage: true });
      }
      await tab.context().close();
    }
  }
  assert.equal(backgrounds.size, 2, 'light and dark differ');
}

// On a window of middle width no table hides a column behind a scroll bar.
async function testTablesFit(browser, problems) {
  const tab = await openPage(browser, page, { viewport: { width: 1000, height: 800 } }, problems);
  const cut = await tab.evaluate(() => [...document.querySelectorAll('.scroll')]
    .filter((box) => box.scrollWidth > box.clientWidth).map((box) => box.firstElementChild.id));
  assert.deepEqual(cut, [], 'tables that are cut');
  await tab.context().close();
}

async function testVideoGone(browser) {
  rmSync(mp4);
  const tab = await openPage(browser, page, {}, []);
  await tab.locator('#video-error').waitFor({ state: 'visible' });
  await tab.context().close();
}

async function main() {
  mkdirSync(record);
  if (screenshotFolder) mkdirSync(screenshotFolder, { recursive: true });
  writeRecord(record);
  run('repair', record, repaired);
  execFileSync('ffmpeg', ['-loglevel', 'error', '-f', 'lavfi', '-i', 'testsrc2=size=320x180:rate=24:duration=24',
    '-f', 'lavfi', '-i', 'sine=duration=24', '-c:v', 'libx264', '-preset', 'ultrafast', '-b:v', '150k', '-g', '24',
    '-pix_fmt', 'yuv420p', '-c:a', 'aac', '-b:a', '64k', '-movflags', '+faststart', mp4]);
  try {
    const problems = [];
    // The torn record itself, without a video.
    run('report', record, page);
    const torn = await openPage(browser, page, {}, problems);
    await testContent(torn, 'onerror=alert');
    assert.ok((await torn.locator('#verdict').textContent()).includes('error'));
    await torn.context().close();
    // Repaired, with the MP4 inside the page and then, too large for that, beside it.
    for (const isLinked of [false, true]) {
      if (isLinked) {
        const free = Buffer.alloc(3 << 20);
        free.writeUInt32BE(free.length, 0);
        free.write('free', 4);
        appendFileSync(mp4, free);
      }
      run('report', repaired, page, '--video', mp4);
      const tab = await openPage(browser, page, { viewport: { width: 1000, height: 800 } }, problems);
      const source = await tab.locator('#video').getAttribute('src');
      assert.equal(source.startsWith('data:'), !isLinked);
      await testClickSeeks(tab);
      await testKeys(tab);
      await tab.context().close();
    }
    await testLooks(browser, problems, 'repaired');
    await testTablesFit(browser, problems);
    assert.deepEqual(problems, [], 'nothing is said on the console');
    await testVideoGone(browser);
  } finally {
    await browser.close();
  }
  console.log('the report page renders, seeks and is silent');
}

try {
  await main();
} finally {
  rmSync(work, { recursive: true, force: true });
}
