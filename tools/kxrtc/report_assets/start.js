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

// ---- Start ------------------------------------------------------------------------------------

byId('folder').textContent = data.folder;
byId('verdict').textContent = data.verdict === 'clean' ? 'clean' : `${data.verdict}s found`;
byId('verdict').classList.add(data.verdict);
document.title = `Speaker record ${data.folder}`;
fillFigures();
fillFindings();
fillTables();
fillLegend();
fillSpanTable();
showVideo();
listenToTheme();
listenToPointer();
listenToKeys();
new ResizeObserver(draw).observe(box);
setCursor(0, false);
