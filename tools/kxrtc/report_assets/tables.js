// The figures and tables of the page.

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
