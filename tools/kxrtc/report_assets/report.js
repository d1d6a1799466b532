'use strict';

(() => {
  const data = JSON.parse(document.getElementById('data').textContent);
  const timeline = data.timeline;
  const SECOND = 1e6;

  // ---- Text -------------------------------------------------------------------------------------

  const byId = (id) => document.getElementById(id);

  function element(name, text, className) {
    const node = document.createElement(name);
    if (text !== undefined) node.textContent = text;
    if (className) node.className = className;
    return node;
  }

  function clock(us) {
    const sign = us < 0 ? '-' : '';
    const total = Math.round(Math.abs(us) / 1000);
    const ms = String(total % 1000).padStart(3, '0');
    const s = Math.floor(total / 1000) % 60;
    const m = Math.floor(total / 60000) % 60;
    const h = Math.floor(total / 3600000);
    const tail = `${String(m).padStart(h ? 2 : 1, '0')}:${String(s).padStart(2, '0')}.${ms}`;
    return sign + (h ? `${h}:${tail}` : tail);
  }

  function bytes(count) {
    const units = ['B', 'kB', 'MB', 'GB', 'TB', 'PB'];
    let unit = 0;
    while (count >= 999.95 && unit + 1 < units.length) {
      count /= 1000;
      unit += 1;
    }
    return `${unit ? count.toFixed(1) : count} ${units[unit]}`;
  }

  function mediaType(type) {
    return data.media_types[type] || `media type ${type}`;
  }

  const PROFILES = { 66: 'Baseline', 77: 'Main', 88: 'Extended', 100: 'High', 110: 'High 10',
    122: 'High 4:2:2', 244: 'High 4:4:4' };

  // ---- Tables -----------------------------------------------------------------------------------

  // columns: [title, cell class or '']; rows: arrays of text or nodes.
  function fillTable(id, columns, rows, emptyText) {
    const table = byId(id);
    table.textContent = '';
    const head = table.createTHead().insertRow();
    for (const [title, className] of columns) {
      const cell = element('th', title, className === 'number' ? 'number' : '');
      cell.scope = 'col';
      head.append(cell);
    }
    const body = table.createTBody();
    for (const row of rows) {
      const line = body.insertRow();
      row.forEach((value, i) => {
        const cell = line.insertCell();
        cell.className = columns[i][1];
        cell.append(value);
      });
    }
    if (rows.length === 0) {
      const cell = body.insertRow().insertCell();
      cell.colSpan = columns.length;
      cell.textContent = emptyText;
    }
  }

  const MAX_ROWS = 2000;  // More rows make the page slow.

  function fillFigures() {
    const replay = data.replay;
    const figures = [
      ['Recorded', clock(data.duration_us)],
      ['MP4', clock(replay.duration_us)],
      ['Sessions', data.session_count],
      ['Switches', data.switch_count],
      ['Video frames', data.video_frames],
      ['Audio frames', data.audio_frames],
      ['Shown as filler', clock(replay.filler_us)],
      ['Dropped frames', replay.dropped_delta_frames],
      ['Largest offset', `${(replay.largest_offset_us / 1000).toFixed(0)} ms`],
      ['Estimated MP4', bytes(data.estimated_mp4_bytes)],
    ];
    for (const [name, value] of figures) {
      const box = element('div');
      box.append(element('dt', name), element('dd', String(value)));
      byId('figures').append(box);
    }
  }

  function fillFindings() {
    const shown = { error: true, warning: true, info: true };
    const totals = { error: 0, warning: 0, info: 0 };
    const findings = data.findings.slice();
    for (const [code, count] of Object.entries(data.finding_counts)) {
      const listed = data.findings.filter((finding) => finding.code === code);
      const { severity } = listed[0];
      totals[severity] += count;
      if (count === listed.length) continue;
      findings.push({ code, severity, text: `${count} in all, the first ${listed.length} are listed` });
    }
    const order = { error: 0, warning: 1, info: 2 };
    const draw = () => {
      const list = findings.filter((finding) => shown[finding.severity]);
      list.sort((a, b) => order[a.severity] - order[b.severity]);
      fillTable('findings', [['Severity', ''], ['Code', ''], ['Recorder time', 'number'], ['', 'wide']],
        list.map((finding) => [
          element('span', finding.severity, finding.severity), finding.code,
          finding.time_us === undefined ? '' : clock(finding.time_us), finding.text,
        ]), 'Nothing to report.');
    };
    for (const severity of Object.keys(shown)) {
      const label = element('label');
      const box = element('input');
      box.type = 'checkbox';
      box.checked = true;
      box.addEventListener('change', () => {
        shown[severity] = box.checked;
        draw();
      });
      label.append(box, ` ${severity} (${totals[severity]})`);
      byId('filters').append(label);
    }
    draw();
  }

  function fillTables() {
    fillTable('sessions', [['#', 'number'], ['Start', 'number'], ['End', 'number'], ['Ended', ''],
      ['Video frames', 'number'], ['Key frames', 'number'], ['Video', 'number'],
      ['Audio frames', 'number'], ['Audio', 'number'], ['Switches', 'number']],
    data.sessions.slice(0, MAX_ROWS).map((session, i) => [
      String(i + 1), clock(session.start_us), clock(session.end_us),
      session.closed ? 'stop record' : element('span', 'torn', 'error'),
      String(session.video_frames), String(session.key_frames), bytes(session.video_bytes),
      String(session.audio_frames), bytes(session.audio_bytes), String(session.switches),
    ]), 'The index contains no session.');
    fillTable('channels', [['Channel', ''], ['Switches', 'number'], ['Time', 'number'],
      ['Frames', 'number'], ['Video', 'number']],
    data.channels.map((channel) => [
      mediaType(channel.media_type), String(channel.switches), clock(channel.duration_us),
      String(channel.video_frames), bytes(channel.video_bytes),
    ]), 'None.');
    const formats = data.video_formats.map((format) => [
      'video', `${format.width}\u00d7${format.height}`,
      `${PROFILES[format.profile_idc] || `profile ${format.profile_idc}`}, level ${(format.level_idc / 10).toFixed(1)}`,
    ]);
    if (data.audio.adts) {
      formats.push(['audio', `${data.audio.sample_rate} Hz`,
        `${data.audio.channels} channels, AAC object type ${data.audio.object_type}`]);
    } else if (data.audio_frames > 0) {
      formats.push(['audio', 'unknown', 'no ADTS header']);
    }
    fillTable('formats', [['Kind', ''], ['Size or rate', ''], ['', '']], formats, 'No media.');
    fillTable('files', [['File', ''], ['Size', 'number']],
      Object.entries(data.files).map(([name, size]) => [name, bytes(size)]), '');
  }

  // ---- Timeline ---------------------------------------------------------------------------------

  const duration = Math.max(1, timeline.duration_us);
  const MIN_VIEW = Math.min(duration, 20000);
  const box = byId('timeline');
  const canvas = byId('canvas');
  const video = byId('video');
  const tip = byId('tip');
  const view = { start: 0, length: duration };
  let cursor = 0;
  let colors = {};

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

  function readColors() {
    const style = getComputedStyle(document.documentElement);
    for (const name of ['camera', 'desktop', 'other', 'audio', 'waiting', 'gap', 'text', 'faint',
      'line', 'card', 'accent', 'video-rate', 'audio-rate', 'error']) {
      colors[name] = style.getPropertyValue(`--${name}`).trim();
    }
  }

  const toX = (us, width) => (us - view.start) / view.length * width;
  const toUs = (x, width) => view.start + x / width * view.length;

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
    const x = toX(cursor, width);
    context.fillStyle = colors.error;
    context.fillRect(x - 0.75, 0, 1.5, height);
  }

  function announce() {
    const span = spanAt(cursor);
    const what = span ? describe(span) : 'no picture';
    box.setAttribute('aria-valuemin', '0');
    box.setAttribute('aria-valuemax', (duration / SECOND).toFixed(3));
    box.setAttribute('aria-valuenow', (cursor / SECOND).toFixed(3));
    box.setAttribute('aria-valuetext', `${clock(cursor)}, ${what}`);
    byId('timeline-status').textContent = `${clock(cursor)} of ${clock(duration)}: ${what}`;
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
    tip.textContent = `${clock(us)}\n${describe(span)}, ${clock(span[0])} to ${clock(span[1])}\n` +
      `recorder time ${clock(span[4])}\n${rate.toFixed(0)} kbit/s`;
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
})();
