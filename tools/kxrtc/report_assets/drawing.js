// Draws the timeline.

const LAYOUT = hasPeople ? {
  height: 270,
  heard: { top: 34, height: 36 },
  seen: { top: 88, height: 24 },
  spans: { top: 130, height: 26 },
  keys: { top: 160, height: 10 },
  rates: { top: 180, bottom: 264 },
} : {
  height: 210,
  spans: { top: 22, height: 46 },
  keys: { top: 72, height: 12 },
  rates: { top: 98, bottom: 204 },
};
const MAX_ROWS_HEARD = 6;  // Who speaks at the same time is drawn one below the other.
const FONT = '12px system-ui, sans-serif';
const BOLD = `600 ${FONT}`;

function readColors() {
  const style = getComputedStyle(document.documentElement);
  for (const name of ['camera', 'desktop', 'other', 'audio', 'waiting', 'gap', 'text', 'faint',
    'line', 'card', 'accent', 'video-rate', 'audio-rate', 'error']) {
    colors[name] = style.getPropertyValue(`--${name}`).trim();
  }
  colors.lift = lift();
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
  context.font = FONT;
  for (let us = Math.ceil(view.start / step) * step; us <= view.start + view.length; us += step) {
    const x = Math.round(toX(us, width)) + 0.5;
    context.beginPath();
    context.moveTo(x, 14);
    context.lineTo(x, LAYOUT.height);
    context.stroke();
    const label = step < SECOND ? clock(us) : clock(us).replace(/\.000$/, '');
    const left = Math.min(x + 3, width - context.measureText(label).width);
    context.fillText(label, left, 11);
  }
}

// ---- Who is heard and seen ----------------------------------------------------------------------

// For each turn its row, and the number of rows that it and those beside it need.
const rowsHeard = (() => {
  const places = [];
  let group = [];
  let ends = [];
  const close = () => {
    for (const place of group) place.rows = ends.length;
    group = [];
    ends = [];
  };
  for (const [start, end] of heard) {
    if (ends.every((other) => other <= start)) close();
    let row = ends.findIndex((other) => other <= start);
    if (row < 0) row = ends.length < MAX_ROWS_HEARD ? ends.length : ends.indexOf(Math.min(...ends));
    ends[row] = Math.max(end, ends[row] || 0);
    places.push({ row, rows: 1 });
    group.push(places[places.length - 1]);
  }
  close();
  return places;
})();

// As much of `text` as has room.
function fitted(context, text, room) {
  if (context.measureText(text).width <= room) return text;
  const characters = [...text].slice(0, 100);
  while (characters.length > 1 && context.measureText(`${characters.join('')}\u2026`).width > room) {
    characters.pop();
  }
  return characters.length > 2 ? `${characters.join('')}\u2026` : '';
}

function drawHatch(context, x, top, breadth, height) {
  context.save();
  context.beginPath();
  context.rect(x, top, breadth, height);
  context.clip();
  context.strokeStyle = 'rgb(255 255 255 / 45%)';
  context.lineWidth = 2;
  context.beginPath();
  for (let at = Math.floor((x - height) / 9) * 9; at < x + breadth; at += 9) {
    context.moveTo(at, top + height);
    context.lineTo(at + height, top);
  }
  context.stroke();
  context.restore();
}

function drawTurn(context, width, turn, top, height) {
  if (turn[1] < view.start || turn[0] > view.start + view.length) return;
  const x = Math.max(-1, toX(turn[0], width));
  const right = Math.min(width + 1, toX(turn[1], width));
  const { fill, text } = colorOf(turn[2]);
  const isFaint = selected >= 0 && selected !== turn[2];
  context.globalAlpha = isFaint ? 0.2 : 1;
  context.fillStyle = fill;
  // A gap shows that one turn ends and another begins.
  const breadth = Math.max(1, right - x - (right - x > 4 ? 1 : 0));
  context.fillRect(x, top, breadth, height);
  if (shareMark(turn)) drawHatch(context, x, top, breadth, height);
  const left = Math.max(4, x + 6);
  if (!isFaint && right - left > 24 && height > 11) {
    context.font = BOLD;
    const label = fitted(context, people[turn[2]].name, right - left - 5);
    if (shareMark(turn) && label) {
      context.fillStyle = fill;
      context.fillRect(left - 3, top + 2, context.measureText(label).width + 6, height - 4);
    }
    context.fillStyle = text;
    context.fillText(label, left, top + height / 2 + 4);
  }
  context.globalAlpha = 1;
}

function drawPeople(context, width) {
  if (!hasPeople) return;
  context.font = FONT;
  context.fillStyle = colors.faint;
  context.fillText('Heard', 4, LAYOUT.heard.top - 5);
  context.fillText('Seen', 4, LAYOUT.seen.top - 5);
  context.fillText('Picture', 4, LAYOUT.spans.top - 5);
  heard.forEach((turn, i) => {
    const { row, rows } = rowsHeard[i];
    const height = LAYOUT.heard.height / rows;
    drawTurn(context, width, turn, LAYOUT.heard.top + row * height, height - (rows > 1 ? 1 : 0));
  });
  for (const turn of seen) drawTurn(context, width, turn, LAYOUT.seen.top, LAYOUT.seen.height);
}

// ---- Pictures and bytes -------------------------------------------------------------------------

function drawSpans(context, width) {
  const { top, height } = LAYOUT.spans;
  const lowered = Math.round(height / 4);
  for (let i = Math.max(0, lastBefore(timeline.spans, view.start)); i < timeline.spans.length; i += 1) {
    const span = timeline.spans[i];
    if (span[0] > view.start + view.length) break;
    const x = Math.max(-1, toX(span[0], width));
    const right = Math.min(width + 1, toX(span[1], width));
    const kind = kindOf(span);
    const breadth = Math.max(1, right - x);
    context.fillStyle = colors[kind];
    context.fillRect(x, span[3] ? top + lowered : top, breadth, span[3] ? height - lowered : height);
    context.font = BOLD;
    const left = Math.max(4, x + 6);
    const label = [describe(span), span[3] ? 'icon' : ''].find((text) =>
      context.measureText(text).width < right - left - 4);
    context.fillStyle = kind === 'audio' ? colors.text : colors.card;
    context.fillText(label || '', left, top + height * 0.5 + lowered / 2 + 2);
  }
}

function drawMarks(context, width) {
  const { spans, keys: key } = LAYOUT;
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
  const drawFew = (marks, color, bottom) => {
    let lastMark = -10;
    context.fillStyle = color;
    for (const [us] of marks) {
      const x = Math.round(toX(us, width));
      if (us < view.start || us > view.start + view.length || x - lastMark < 6) continue;
      context.fillRect(x - 1, spans.top - 4, 2, bottom - spans.top + 4);
      lastMark = x;
    }
  };
  drawFew(timeline.switches, colors.text, spans.top + spans.height + 2);
  drawFew(timeline.sessions, colors.error, key.top + key.height);
}

function drawRates(context, width) {
  const { top, bottom } = LAYOUT.rates;
  const height = bottom - top;
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
  context.font = FONT;
  const rate = most * 8 / (timeline.bucket_us / SECOND) / 1000;
  context.fillText(`up to ${rate.toFixed(0)} kbit/s`, 4, top + 2);
}

function draw() {
  const width = box.clientWidth;
  const height = box.clientHeight;
  const scale = isPrinted ? 3 : window.devicePixelRatio || 1;
  canvas.width = Math.round(width * scale);
  canvas.height = Math.round(height * scale);
  const context = canvas.getContext('2d');
  context.scale(scale, scale);
  drawRates(context, width);
  drawRuler(context, width);
  drawPeople(context, width);
  drawSpans(context, width);
  drawMarks(context, width);
  placePictures(width);
  const x = toX(cursor, width);
  context.fillStyle = colors.error;
  context.fillRect(x - 0.75, 0, 1.5, height);
}
