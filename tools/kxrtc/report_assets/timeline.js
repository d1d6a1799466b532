// The timeline: what is shown of it, its cursor, mouse and keys.

const duration = Math.max(1, timeline.duration_us);
const MIN_VIEW = Math.min(duration, 20000);
const box = byId('timeline');
const canvas = byId('canvas');
const video = byId('video');
const tip = byId('tip');
const view = { start: 0, length: duration };
let cursor = 0;
let isPrinted = false;
const colors = {};

const KINDS = [
  ['camera', 'camera'], ['desktop', 'desktop'], ['other', 'other video'],
  ['audio', 'icon: audio only'], ['waiting', 'icon: waiting for a key frame'],
  ['gap', 'icon: gap over 5 s'],
];

function kindOf(span) {
  const [, , type, filler] = span;
  if (filler === 'audio only') return 'audio';
  if (filler === 'gap over 5 s') return 'gap';
  if (filler === 'still share') return 'desktop';
  if (filler) return 'waiting';
  const name = mediaType(type);
  return ['camera', 'desktop'].includes(name) ? name : 'other';
}

function describe(span) {
  if (span[3] === 'still share') return 'desktop that stands still (copied video: icon)';
  return span[3] ? `icon (${span[3]})` : mediaType(span[2]);
}

// The last element whose first member is at most `us`, in a list sorted by that member.
function lastBefore(list, us, at = (entry) => entry[0]) {
  let low = 0;
  let high = list.length;
  while (low < high) {
    const middle = (low + high) >> 1;
    if (at(list[middle]) <= us) low = middle + 1; else high = middle;
  }
  return low - 1;
}

function spanAt(us) {
  const span = timeline.spans[lastBefore(timeline.spans, us)];
  return span && us <= span[1] ? span : undefined;
}

const toX = (us, width) => (us - view.start) / view.length * width;
const toUs = (x, width) => view.start + x / width * view.length;

function announce() {
  const span = spanAt(cursor);
  const what = span ? describe(span) : 'no picture';
  const status = byId('timeline-status');
  box.setAttribute('aria-valuemin', '0');
  box.setAttribute('aria-valuemax', (duration / SECOND).toFixed(3));
  box.setAttribute('aria-valuenow', (cursor / SECOND).toFixed(3));
  status.textContent = '';
  status.append(`${clock(cursor)} of ${clock(duration)}: ${what}`, ...whoAt(cursor));
  box.setAttribute('aria-valuetext', status.textContent);
}

function setView(start, length) {
  view.length = Math.min(duration, Math.max(MIN_VIEW, length));
  view.start = Math.min(duration - view.length, Math.max(0, start));
  draw();
}

function zoom(factor, around) {
  const length = Math.min(duration, Math.max(MIN_VIEW, view.length * factor));
  setView(around - (around - view.start) * length / view.length, length);
}

function setCursor(us, seeks = true) {
  cursor = Math.min(duration, Math.max(0, us));
  if (seeks && !video.hidden) video.currentTime = cursor / SECOND;
  if (cursor < view.start || cursor > view.start + view.length) {
    view.start = Math.min(duration - view.length, Math.max(0, cursor - view.length / 2));
  }
  announce();
  draw();
}

function showTip(x) {
  const us = toUs(x, box.clientWidth);
  const span = spanAt(us);
  if (!span) {
    tip.hidden = true;
    return;
  }
  const bucket = timeline.buckets[Math.floor(us / timeline.bucket_us)];
  const rate = bucket ? (bucket[0] + bucket[1]) * 8 / (timeline.bucket_us / SECOND) / 1000 : 0;
  tip.textContent = '';
  tip.append(clock(us), ...whoAt(us), `\n${describe(span)}, ${clock(span[0])} to ${clock(span[1])}\n` +
    `recorder time ${clock(span[4])}\n${rate.toFixed(0)} kbit/s`);
  tip.hidden = false;
  tip.style.left = `${Math.max(0, Math.min(x + 12, box.clientWidth - tip.offsetWidth))}px`;
}

function listenToPointer() {
  let drag = null;
  const xOf = (event) => event.clientX - box.getBoundingClientRect().left;
  box.addEventListener('pointerdown', (event) => {
    if (event.button !== 0) return;
    drag = { x: xOf(event), start: view.start, moved: false };
    box.setPointerCapture(event.pointerId);
  });
  box.addEventListener('pointermove', (event) => {
    const x = xOf(event);
    showTip(x);
    if (!drag) return;
    if (Math.abs(x - drag.x) > 4) drag.moved = true;
    if (drag.moved) setView(drag.start - (x - drag.x) / box.clientWidth * view.length, view.length);
  });
  box.addEventListener('pointerup', (event) => {
    if (drag && !drag.moved) setCursor(toUs(xOf(event), box.clientWidth));
    drag = null;
  });
  box.addEventListener('pointercancel', () => { drag = null; });
  box.addEventListener('pointerleave', () => { tip.hidden = true; });
  box.addEventListener('wheel', (event) => {
    event.preventDefault();
    if (event.deltaX && Math.abs(event.deltaX) > Math.abs(event.deltaY)) {
      setView(view.start + event.deltaX / box.clientWidth * view.length, view.length);
    } else {
      zoom(Math.exp(event.deltaY * 0.002), toUs(xOf(event), box.clientWidth));
    }
  }, { passive: false });
}

function listenToKeys() {
  box.addEventListener('keydown', (event) => {
    if (event.ctrlKey || event.metaKey || event.altKey) return;
    const actions = {
      ArrowLeft: () => setCursor(cursor - view.length / 100),
      ArrowRight: () => setCursor(cursor + view.length / 100),
      ArrowDown: () => setCursor(cursor - view.length / 100),
      ArrowUp: () => setCursor(cursor + view.length / 100),
      PageUp: () => setCursor(cursor + view.length / 10),
      PageDown: () => setCursor(cursor - view.length / 10),
      Home: () => setCursor(0),
      End: () => setCursor(duration),
      '+': () => zoom(0.5, cursor),
      '=': () => zoom(0.5, cursor),
      '-': () => zoom(2, cursor),
      0: () => setView(0, duration),
      n: () => selected >= 0 && jump(selected, 1),
      p: () => selected >= 0 && jump(selected, -1),
    };
    if (!actions[event.key]) return;
    event.preventDefault();
    actions[event.key]();
  });
  byId('zoom-in').addEventListener('click', () => zoom(0.5, cursor));
  byId('zoom-out').addEventListener('click', () => zoom(2, cursor));
  byId('zoom-all').addEventListener('click', () => setView(0, duration));
}

function fillLegend() {
  const used = new Set(timeline.spans.map(kindOf));
  const add = (color, text) => {
    const item = element('li');
    const swatch = element('i');
    swatch.style.background = `var(--${color})`;
    item.append(swatch, text);
    byId('legend').append(item);
  };
  for (const [kind, text] of KINDS) if (used.has(kind)) add(kind, text);
  if (seen.some(shareMark)) {
    const item = element('li');
    item.append(element('i', undefined, 'hatched'), 'desktop share of a person');
    byId('legend').append(item);
  }
  add('accent', 'key frame');
  add('text', 'switch');
  add('error', 'session start, cursor');
  add('video-rate', 'video bit rate');
  add('audio-rate', 'audio bit rate');
}

function fillSpanTable() {
  const rows = timeline.spans.slice(0, MAX_ROWS).map((span) => {
    const jump = element('button', clock(span[0]));
    jump.type = 'button';
    jump.addEventListener('click', () => setCursor(span[0]));
    return [jump, clock(span[1]), describe(span), clock(span[4])];
  });
  fillTable('spans', [['From', ''], ['To', 'number'], ['Shown', ''], ['Recorder time', 'number']],
    rows, 'The MP4 would be empty.');
}
