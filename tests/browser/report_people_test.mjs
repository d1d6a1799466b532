// Opens the report page of a meeting in headless Chromium: people with colours, turns, talk time and
// pictures; names that are hard to show; the search, the keys, paper; and the page without names.
//
// usage: node report_people_test.mjs KXRTC PLAYWRIGHT_FOLDER [SCREENSHOT_FOLDER]
// Ends with status 77 and a reason where there is no browser to test with.
import assert from 'node:assert/strict';
import { execFileSync } from 'node:child_process';
import { mkdirSync, mkdtempSync, readFileSync, rmSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join, resolve } from 'node:path';
import { launchChromium, openPage } from './chromium.mjs';
import { PEOPLE, TITLE, TURNS, writeMeeting } from './meeting_record.mjs';

const [kxrtc, playwrightFolder, screenshotFolder] = process.argv.slice(2);
const browser = await launchChromium(playwrightFolder);
const work = mkdtempSync(join(tmpdir(), 'kxrtc_people_'));
const record = join(work, 'record');
const folder = join(work, 'secret folder');
const page = join(work, 'report.html');
const anonymousPage = join(work, 'anonymous.html');
const problems = [];

const run = (...args) => execFileSync(resolve(kxrtc), args, { encoding: 'utf8' });
const now = (tab) => tab.locator('#timeline').getAttribute('aria-valuenow').then(Number);
const namesOf = (tab) => tab.locator('#people .name').allTextContents();
const person = (tab, name) => tab.locator('#people li', { has: tab.locator(`.name:text-is("${name}")`) });

// The predicted times are up to one audio frame off, and every second has 16 us more in the MP4.
const isNear = (seconds, wanted) => Math.abs(seconds - wanted) < 0.03;

async function shoot(tab, name) {
  if (screenshotFolder) await tab.screenshot({ path: join(screenshotFolder, `${name}.png`), fullPage: true });
}

async function overflow(tab) {
  return tab.evaluate(() => document.documentElement.scrollWidth - window.innerWidth);
}

async function testPeople(tab) {
  assert.equal(await tab.locator('h1').textContent(), TITLE, 'the title is text');
  assert.match(await tab.locator('#folder').textContent(), /^Recorded 2026-11-22 09:30:00 UTC, /);
  const names = await namesOf(tab);
  assert.equal(names.length, PEOPLE.length);
  assert.equal(names[0], 'Ada Lovelace', 'who was heard most comes first');
  assert.ok(names.includes('<script>alert(1)</script>'), 'markup in a name is text');
  assert.ok(names.includes('שלום evil'), 'a name has no marks of direction');
  assert.ok(names.includes('👩‍👩‍👧 Émilie'));
  assert.ok(names.includes('W'.repeat(256)));
  const ada = person(tab, 'Ada Lovelace');
  assert.equal(await ada.locator('.percent').textContent(), '39 %');
  assert.equal(await ada.locator('.times').textContent(), 'heard 0:23.000, 3 turns, seen 0:25.000');
  const colours = await tab.locator('#people .swatch').evaluateAll((nodes) =>
    nodes.map((node) => getComputedStyle(node).backgroundColor));
  assert.equal(new Set(colours).size, PEOPLE.length, 'each person has a colour');
  const widths = await tab.locator('#people .bar').evaluateAll((nodes) => nodes.map((node) => node.offsetWidth));
  assert.deepEqual(widths, [...widths].sort((a, b) => b - a), 'the bars shrink from row to row');
}

// What stands behind a name stays behind it, whatever the direction of the name.
async function testDirection(tab) {
  await person(tab, 'שלום evil').locator('button').click();
  const [name, turn] = await Promise.all(['.name', '> span'].map((part) =>
    tab.locator(`#turn-status ${part}`).boundingBox()));
  assert.ok(turn.x >= name.x + name.width, 'the turn stands to the right of the name');
  assert.match(await tab.locator('#turn-status > span').textContent(), /^Turn 1 of 1, 0:18\./);
}

// The colours of the timeline at these times, each in a lane.
async function coloursAt(tab, places) {
  return tab.evaluate((wanted) => {
    const canvas = document.getElementById('canvas');
    const { data, width } = canvas.getContext('2d').getImageData(0, 0, canvas.width, canvas.height);
    const seconds = Number(document.getElementById('timeline').getAttribute('aria-valuemax'));
    return wanted.map(([at, y]) => {
      const pixel = Math.round(y * width / canvas.clientWidth) * width + Math.floor(at / seconds * width);
      return `rgb(${[...data.subarray(4 * pixel, 4 * pixel + 3)].join(', ')})`;
    });
  }, places);
}

async function testLanes(tab) {
  const HEARD = 37;
  const SEEN = 91;
  const ada = await tab.locator('#people .swatch').first().evaluate((node) => getComputedStyle(node).backgroundColor);
  const colours = await coloursAt(tab, [[11.5, HEARD], [0.5, HEARD], [12.5, HEARD], [11.5, SEEN], [12.5, SEEN]]);
  assert.deepEqual(colours.map((colour) => colour === ada), [true, false, false, true, false],
    'Ada is heard and seen until 12 s');
}

async function testJumps(tab) {
  const [first, second, third] = TURNS.filter(([id]) => id === 11).map(([, from]) => from);
  await tab.locator('#timeline').focus();
  await tab.keyboard.press('Home');
  const ada = person(tab, 'Ada Lovelace').locator('button');
  for (const seconds of [first, second, third, first]) {
    await ada.click();
    assert.ok(isNear(await now(tab), seconds), `${await now(tab)} is the turn at ${seconds}`);
  }
  assert.equal(await ada.getAttribute('aria-pressed'), 'true');
  await tab.locator('#turn-next').click();
  assert.ok(isNear(await now(tab), second));
  await tab.locator('#turn-before').click();
  assert.ok(isNear(await now(tab), first));
  await tab.locator('#timeline').focus();
  await tab.keyboard.press('n');
  assert.ok(isNear(await now(tab), second), 'N goes to the next turn');
  await tab.keyboard.press('p');
  await tab.keyboard.press('p');
  assert.ok(isNear(await now(tab), third), 'before the first turn comes the last');
  assert.match(await tab.locator('#timeline-status').textContent(), /Heard: Ada Lovelace/);
  await person(tab, 'Nobody heard me').locator('button').click();
  assert.match(await tab.locator('#turn-status').textContent(), /Neither heard nor seen/);
  await tab.locator('#turn-none').click();
  assert.equal(await tab.locator('#people [aria-pressed="true"]').count(), 0);
}

async function testSearch(tab) {
  const search = tab.locator('#search');
  await search.fill('emilie');
  assert.deepEqual(await namesOf(tab), ['👩‍👩‍👧 Émilie'], 'accents and case do not matter');
  await search.press('Enter');
  assert.ok(isNear(await now(tab), 34), 'Enter goes to a turn');
  await search.press('ArrowDown');
  assert.ok(await person(tab, '👩‍👩‍👧 Émilie').locator('button').evaluate((node) => node === document.activeElement));
  await search.fill('nobody of that name');
  assert.equal(await tab.locator('#people-note').textContent(), 'Nobody has such a name.');
  await search.press('Escape');
  assert.equal((await namesOf(tab)).length, PEOPLE.length, 'Escape shows all');
}

async function testFilmstrip(tab) {
  await tab.waitForFunction(() => document.querySelectorAll('.picture:not([hidden])').length > 5);
  const pictures = tab.locator('.picture');
  assert.ok(await pictures.count() > 50 && await pictures.count() <= 60);
  const boxes = await pictures.evaluateAll((nodes) => nodes.filter((node) => !node.hidden)
    .map((node) => [node.offsetLeft, node.offsetLeft + node.offsetWidth]));
  boxes.slice(1).forEach(([left], i) => assert.ok(left >= boxes[i][1], 'pictures do not overlap'));
  const shapes = await pictures.locator('img').evaluateAll((nodes) => nodes.map((node) => node.naturalWidth > node.naturalHeight));
  assert.ok(shapes.includes(true) && shapes.includes(false), 'a turned camera gives an upright picture');
  const shown = tab.locator('.picture:not([hidden])').nth(3);
  const title = await shown.getAttribute('title');
  await shown.click();
  assert.ok((await tab.locator('#timeline-status').textContent()).startsWith(title.replace('Show ', '')));
  const few = await tab.locator('.picture:not([hidden])').count();
  await tab.locator('#zoom-in').click();
  assert.ok(boxes.length === few && await pictures.count() > few, 'there are more than have room');
  await tab.locator('#zoom-all').click();
}

async function testPage() {
  const tab = await openPage(browser, page, { viewport: { width: 1280, height: 900 }, colorScheme: 'light' }, problems);
  await testPeople(tab);
  await testLanes(tab);
  await testFilmstrip(tab);
  await shoot(tab, 'people-light');
  await testJumps(tab);
  await testSearch(tab);
  await testDirection(tab);
  await tab.emulateMedia({ colorScheme: 'dark' });
  await shoot(tab, 'people-dark');
  await tab.setViewportSize({ width: 360, height: 800 });
  assert.ok(await overflow(tab) <= 0, 'nothing is wider than a phone');
  await shoot(tab, 'people-phone');
  await tab.context().close();
}

async function testPaper() {
  const tab = await openPage(browser, page, { colorScheme: 'dark' }, problems);
  await tab.evaluate(() => {
    window.addEventListener('beforeprint', () => {
      window.printed = { theme: document.documentElement.dataset.theme, width: document.getElementById('timeline').clientWidth };
    });
  });
  const pdf = await tab.pdf({ format: 'A4' });
  assert.ok(pdf.length > 10000);
  assert.deepEqual(await tab.evaluate(() => window.printed), { theme: 'light', width: 680 });
  assert.equal(await tab.evaluate(() => document.documentElement.dataset.theme), 'dark', 'the screen stays dark');
  await tab.context().close();
}

async function testAnonymous() {
  const bytes = readFileSync(anonymousPage, 'utf8');
  for (const secret of [...PEOPLE.map(({ name }) => name.replace(/[<\u202E]/g, '')), 'secret', 'Weekly', '2026-11', 'image/jpeg']) {
    assert.ok(!bytes.includes(secret), `the page does not contain ${secret}`);
  }
  const tab = await openPage(browser, anonymousPage, {}, problems);
  assert.equal(await tab.locator('h1').textContent(), 'Speaker record');
  assert.deepEqual((await namesOf(tab)).sort(), PEOPLE.map((_, i) => `Speaker ${i + 1}`));
  assert.equal(await person(tab, 'Speaker 1').locator('.percent').textContent(), '39 %');
  assert.equal(await tab.locator('.picture').count(), 0);
  assert.match(await tab.locator('#speaker-notes').textContent(), /left out/);
  await shoot(tab, 'people-anonymous');
  await tab.context().close();
}

try {
  mkdirSync(record);
  if (screenshotFolder) mkdirSync(screenshotFolder, { recursive: true });
  writeMeeting(record);
  run('repair', record, folder);
  run('report', folder, page);
  run('report', folder, anonymousPage, '--anonymous');
  await testPage();
  await testPaper();
  await testAnonymous();
  assert.deepEqual(problems, [], 'nothing is said on the console, and nothing is asked for');
  console.log('the report page shows the people');
} finally {
  await browser.close();
  rmSync(work, { recursive: true, force: true });
}
