// A picture of what Chromium shows of a page.
// usage: node screenshot.mjs PLAYWRIGHT_FOLDER PAGE WIDTHxHEIGHT OUT.jpg
import { resolve } from 'node:path';
import { pathToFileURL } from 'node:url';

import { launchChromium } from '../tests/browser/chromium.mjs';

const [playwrightFolder, page, size, picture] = process.argv.slice(2);
const [width, height] = size.split('x').map(Number);
const browser = await launchChromium(playwrightFolder);
const tab = await browser.newPage({ viewport: { width, height } });
await tab.goto(pathToFileURL(resolve(page)).href);
await tab.waitForLoadState('load');
await tab.screenshot({ path: picture, type: 'jpeg', quality: 80 });
await browser.close();
