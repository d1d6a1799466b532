// The headless browser of these tests.
import { existsSync } from 'node:fs';
import { createRequire } from 'node:module';
import { resolve } from 'node:path';
import { pathToFileURL } from 'node:url';

const CHROMIUM = '/usr/bin/chromium';
const SKIPPED = 77;

// The package of that name below `folder`; null where it is not installed.
export function loadPackage(folder, name) {
  const require = createRequire(resolve(folder, 'index.js'));
  try {
    return require(name);
  } catch {
    return null;
  }
}

// The process ends with status 77 and the reason.
export function skipWithout(what) {
  console.log(`skipped: ${what} is not installed (scripts/setup.sh browser)`);
  process.exit(SKIPPED);
}

// Starts Chromium with the playwright-core of that folder. Where one of them is missing the process
// ends with status 77 and the reason.
export async function launchChromium(playwrightFolder) {
  const playwright = loadPackage(playwrightFolder, 'playwright-core');
  if (!playwright || !existsSync(CHROMIUM)) skipWithout(playwright ? CHROMIUM : 'playwright-core');
  return playwright.chromium.launch({
    executablePath: CHROMIUM,
    args: ['--headless', '--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run',
      '--disable-background-networking', '--disable-component-update', '--disable-sync',
      '--autoplay-policy=no-user-gesture-required'],
  });
}

// Opens the file `page` in a window of its own. What the page says on the console, asks the network for
// or tells in a dialog is added to `problems`.
export async function openPage(browser, page, options, problems) {
  const context = await browser.newContext(options);
  const tab = await context.newPage();
  tab.on('console', (message) => {
    problems.push(`console: ${message.text()}`);
  });
  tab.on('pageerror', (error) => problems.push(String(error)));
  tab.on('request', (request) => {
    if (!/^(file|data|blob):/.test(request.url())) problems.push(`asked the network for ${request.url()}`);
  });
  tab.on('dialog', (dialog) => {
    problems.push(`dialog: ${dialog.message()}`);
    dialog.dismiss();
  });
  await tab.goto(pathToFileURL(page).href);
  return tab;
}
