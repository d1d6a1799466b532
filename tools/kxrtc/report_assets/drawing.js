// Draws the timeline.

function readColors() {
  const style = getComputedStyle(document.documentElement);
  for (const name of ['camera', 'desktop', 'other', 'audio', 'waiting', 'gap', 'text', 'faint',
    'line', 'card', 'accent', 'video-rate', 'audio-rate', 'error']) {
    colors[name] = style.getPropertyValue(`--${name}`).trim();
  }
}

function tickStep(width) {
  const wanted = view.length / Math.max(1, width / 90);
  const steps = [1e3, 2e3, 5e3, 1e4, 2e4, 5e4, 1e5, 2e5, 5e5, 1e6, 2e6, 5e6, 1e7, 1.5e7, 3e7, 6e7,
    1.2e8, 3e8, 6e8, 9e8, 1.8e9, 3.6e9, 7.2e9, 2.16e10, 4.32e10, 8.64e10];
  return steps.find((step) => step >= wanted) || wanted;
}

function drawRuler(context, width) {
  const step = tickStep(width);
  context.fillStyle = colors.faint;
  context.strokeStyle = colors.line;
  context.font = '12px system-ui, sans-serif';
  for (let us = Math.ceil(view.start / step) * step; us <= view.start + view.length; us += step) {
    const x = Math.round(toX(us, width)) + 0.5;
    context.beginPath();
    context.moveTo(x, 14);
    context.lineTo(x, 210);
    context.stroke();
    const label = step < SECOND ? clock(us) : clock(us).replace(/\.000$/, '');
    const left = Math.min(x + 3, width - context.measureText(label).width);
    context.fillText(label, left, 11);
  }
}

function drawSpans(context, width) {
  const top = 22;
  const height = 46;
  for (let i = Math.max(0, lastBefore(timeline.spans, view.start)); i < timeline.spans.length; i += 1) {
    const span = timeline.spans[i];
    if (span[0] > view.start + view.length) break;
    const x = Math.max(-1, toX(span[0], width));
    const right = Math.min(width + 1, toX(span[1], width));
    const kind = kindOf(span);
    const breadth = Math.max(1, right - x);
    context.fillStyle = colors[kind];
    context.fillRect(x, span[3] ? top + 12 : top, breadth, span[3] ? height - 12 : height);
    context.font = '600 12px system-ui, sans-serif';
    const left = Math.max(4, x + 6);
    const label = [describe(span), span[3] ? 'icon' : ''].find((text) =>
      context.measureText(text).width < right - left - 4);
    context.fillStyle = kind === 'audio' ? colors.text : colors.card;
    context.fillText(label || '', left, top + 30);
  }
}

function drawMarks(context, width) {
  const key = { top: 72, height: 12 };
  context.fillStyle = colors.accent;
  let lastX = -10;
  const keys = timeline.key_frames_us;
  const first = Math.max(0, lastBefore(keys, view.start, (us) => us));
  for (let i = first; i < keys.length && keys[i] <= view.start + view.length; i += 1) {
    const x = Math.round(toX(keys[i], width));
    if (x !== lastX) context.fillRect(x, key.top, 1, key.height);
    lastX = x;
  }
  // Of marks closer than a few pixels only one is drawn: more would hide the rest.
  const drawFew = (marks, color, height) => {
    let lastMark = -10;
    context.fillStyle = color;
    for (const [us] of marks) {
      const x = Math.round(toX(us, width));
      if (us < view.start || us > view.start + view.length || x - lastMark < 6) continue;
      context.fillRect(x - 1, 18, 2, height);
      lastMark = x;
    }
  };
  drawFew(timeline.switches, colors.text, 52);
  drawFew(timeline.sessions, colors.error, 66);
}

function drawRates(context, width) {
  const bottom = 204;
  const height = 106;
  const first = Math.max(0, Math.floor(view.start / timeline.bucket_us));
  const last = Math.min(timeline.buckets.length - 1,
    Math.ceil((view.start + view.length) / timeline.bucket_us));
  let most = 1;
  for (let i = first; i <= last; i += 1) {
    most = Math.max(most, timeline.buckets[i][0] + timeline.buckets[i][1]);
  }
  for (let i = first; i <= last; i += 1) {
    const [videoBytes, audioBytes] = timeline.buckets[i];
    const x = toX(i * timeline.bucket_us, width);
    const right = toX((i + 1) * timeline.bucket_us, width);
    const audioHeight = audioBytes / most * height;
    const videoHeight = videoBytes / most * height;
    context.fillStyle = colors['audio-rate'];
    context.fillRect(x, bottom - audioHeight, right - x + 0.5, audioHeight);
    context.fillStyle = colors['video-rate'];
    context.fillRect(x, bottom - audioHeight - videoHeight, right - x + 0.5, videoHeight);
  }
  context.fillStyle = colors.faint;
  context.font = '12px system-ui, sans-serif';
  const rate = most * 8 / (timeline.bucket_us / SECOND) / 1000;
  context.fillText(`up to ${rate.toFixed(0)} kbit/s`, 4, bottom - height + 2);
}

function draw() {
  const width = box.clientWidth;
  const height = box.clientHeight;
  const scale = window.devicePixelRatio || 1;
  canvas.width = Math.round(width * scale);
  canvas.height = Math.round(height * scale);
  const context = canvas.getContext('2d');
  context.scale(scale, scale);
  drawRates(context, width);
  drawRuler(context, width);
  drawSpans(context, width);
  drawMarks(context, width);
  placePictures(width);
  const x = toX(cursor, width);
  context.fillStyle = colors.error;
  context.fillRect(x - 0.75, 0, 1.5, height);
}

