// The headless browser of these tests.
import { existsSync } from 'node:fs';
import { createRequire } from 'node:module';
import { resolve } from 'node:path';

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
