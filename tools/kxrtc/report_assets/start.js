// The video, the theme, and the start of the page.

function showVideo() {
  if (!data.video_url) return;
  video.src = data.video_url;
  video.hidden = false;
  video.addEventListener('timeupdate', () => {
    if (!video.seeking && !video.paused) setCursor(video.currentTime * SECOND, false);
  });
  video.addEventListener('error', () => {
    video.hidden = true;
    byId('video-error').hidden = false;
    byId('video-error').textContent = 'The MP4 was moved, or cannot be played here.';
  });
}

function showTheme(dark) {
  document.documentElement.dataset.theme = dark ? 'dark' : 'light';
  readColors();
  draw();
}

function listenToTheme() {
  const dark = window.matchMedia('(prefers-color-scheme: dark)');
  const follow = () => showTheme(dark.matches);
  dark.addEventListener('change', follow);
  byId('theme').addEventListener('click', () => {
    dark.removeEventListener('change', follow);  // The choice of the reader stays.
    showTheme(document.documentElement.dataset.theme !== 'dark');
  });
  follow();
}

// On paper the page is light, and the timeline as wide as the paper.
function listenToPrint() {
  const print = (begins, theme) => {
    isPrinted = begins;
    document.documentElement.classList.toggle('printed', begins);
    showTheme(theme === 'dark');
  };
  let theme = '';
  window.addEventListener('beforeprint', () => {
    theme = document.documentElement.dataset.theme;
    print(true, 'light');
  });
  window.addEventListener('afterprint', () => print(false, theme));
}

function showTitle() {
  const { title, started } = speakers;
  const lines = [data.folder];
  if (title) byId('title').textContent = title;
  if (started) lines.unshift(`Recorded ${started.slice(0, 10)} ${started.slice(11, 19)} UTC`);
  byId('folder').textContent = lines.filter((line) => line).join(', ');
  byId('verdict').textContent = data.verdict === 'clean' ? 'clean' : `${data.verdict}s found`;
  byId('verdict').classList.add(data.verdict);
  document.title = title || `Speaker record ${data.folder}`.trim();
}

// ---- Start ------------------------------------------------------------------------------------

box.style.height = `${LAYOUT.height}px`;
showTitle();
showPeople();
fillFigures();
fillFindings();
fillTables();
fillLegend();
fillSpanTable();
showVideo();
listenToTheme();
listenToPrint();
listenToPointer();
listenToKeys();
new ResizeObserver(draw).observe(box);
setCursor(0, false);
