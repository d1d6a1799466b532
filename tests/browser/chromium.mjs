// The headless browser of these tests.
import { existsSync } from 'node:fs';
import { createRequire } from 'node:module';
import { resolve } from 'node:path';

const CHROMIUM = '/usr/bin/chromium';
const SKIPPED = 77;

function loadPlaywright(folder) {
  const require = createRequire(resolve(folder, 'index.js'));
  try {
    return require('playwright-core');
  } catch {
    return null;
  }
}

// Starts Chromium with the playwright-core of that folder. Where one of them is missing the process
// ends with status 77 and the reason.
export async function launchChromium(playwrightFolder) {
  const playwright = loadPlaywright(playwrightFolder);
  if (!playwright || !existsSync(CHROMIUM)) {
    console.log(`skipped: ${playwright ? CHROMIUM : 'playwright-core'} is not installed (scripts/setup.sh browser)`);
    process.exit(SKIPPED);
  }
  return playwright.chromium.launch({
    executablePath: CHROMIUM,
    args: ['--headless', '--no-sandbox', '--disable-gpu', '--disable-quic', '--no-first-run',
      '--disable-background-networking', '--disable-component-update', '--disable-sync',
      '--autoplay-policy=no-user-gesture-required'],
  });
}
