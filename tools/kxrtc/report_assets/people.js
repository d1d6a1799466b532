// The people: their colours, their turns and talk time, and the search by name.

const speakers = data.speakers?.people ? data.speakers : { people: [], heard: [], seen: [] };
const { people } = speakers;
const hasPeople = people.length > 0;
const MAX_PEOPLE = 200;  // Shown at once; the search finds all.

// A turn: [start, end, person, media type], sorted by its start.
const heard = speakers.heard.filter((turn) => turn[0] < duration);
const seen = speakers.seen.filter((turn) => turn[0] < duration);

// Those who were heard most come first and get the colours that differ most.
const ranking = people.map((person, i) => i)
  .sort((a, b) => people[b].heard_us - people[a].heard_us || a - b);

// Hue, saturation and lightness.
const TONES = [[212, 70, 46], [27, 88, 44], [150, 62, 33], [345, 65, 47], [268, 50, 55], [188, 80, 33],
  [48, 92, 38], [310, 45, 47], [95, 55, 35], [5, 45, 38]];
const tones = [];
ranking.forEach((person, rank) => {
  tones[person] = TONES[rank] ||
    [Math.round(rank * 137.508 % 360), 42 + rank % 3 * 14, 34 + rank % 4 * 6];
});

const lift = () => Number.parseFloat(getComputedStyle(document.documentElement).getPropertyValue('--lift'));

function luminance([hue, saturation, lightness]) {
  const channel = (n) => {
    const k = (n + hue / 30) % 12;
    const reach = saturation / 100 * Math.min(lightness / 100, 1 - lightness / 100);
    const value = lightness / 100 - reach * Math.max(-1, Math.min(k - 3, 9 - k, 1));
    return value <= 0.04045 ? value / 12.92 : ((value + 0.055) / 1.055) ** 2.4;
  };
  return 0.2126 * channel(0) + 0.7152 * channel(8) + 0.0722 * channel(4);
}

// The colour of a person in the theme, and that of text on it.
function colorOf(person) {
  const [hue, saturation, lightness] = tones[person];
  const tone = [hue, saturation, lightness + colors.lift];
  return {
    fill: `hsl(${tone[0]} ${tone[1]}% ${tone[2]}%)`,
    text: luminance(tone) > 0.18 ? '#000' : '#fff',
  };
}

function colored(node, person) {
  const [hue, saturation, lightness] = tones[person];
  node.style.setProperty('--hue', hue);
  node.style.setProperty('--saturation', `${saturation}%`);
  node.style.setProperty('--lightness', `${lightness}%`);
  return node;
}

// A name is a box of its own, so that its reading direction changes nothing beside it.
function nameOf(person) {
  const node = element('bdi', people[person].name, 'name');
  node.dir = 'auto';
  node.title = people[person].name;
  return node;
}

const activeAt = (turns, us) => turns.filter((turn) => turn[0] <= us && us < turn[1]);
const shareMark = (turn) => (mediaType(turn[3]) === 'desktop' ? ' (desktop share)' : '');

// Text and names: what is heard and seen at that time.
function whoAt(us) {
  const parts = [];
  const add = (title, turns, mark) => turns.forEach((turn, i) => {
    parts.push(i === 0 ? title : ', ', nameOf(turn[2]), mark(turn));
  });
  add('\nHeard: ', activeAt(heard, us).slice(0, 8), () => '');
  add('\nSeen: ', activeAt(seen, us), shareMark);
  return parts;
}

// ---- From turn to turn --------------------------------------------------------------------------

let selected = -1;

// Of somebody who was never heard: when that person was seen.
function turnsOf(person) {
  const own = (turns) => turns.filter((turn) => turn[2] === person);
  const spoken = own(heard);
  return spoken.length > 0 ? { turns: spoken, what: 'Turn' } : { turns: own(seen), what: 'Seen' };
}

// Selects the person and goes to the next turn, or with `step` -1 to the one before; behind the last
// comes the first.
function jump(person, step) {
  const isNew = selected !== person;
  selected = person;
  const { turns, what } = turnsOf(person);
  let at = turns.findIndex((turn) => turn[0] > cursor || (isNew && turn[0] === cursor));
  if (step < 0) at = turns.findLastIndex((turn) => turn[0] < cursor);
  if (at < 0) at = step < 0 ? turns.length - 1 : 0;
  const status = byId('turn-status');
  status.textContent = '';
  status.append(colored(element('i', undefined, 'swatch'), person), nameOf(person));
  if (turns.length === 0) {
    status.append(element('span', 'Neither heard nor seen.'));
    draw();
  } else {
    const [start, end] = turns[at];
    status.append(element('span', `${what} ${at + 1} of ${turns.length}, ${clock(start)} to ${clock(end)}`));
    setCursor(start);
  }
  for (const id of ['turn-before', 'turn-next', 'turn-none']) byId(id).disabled = false;
  markSelected();
}

function selectNobody() {
  selected = -1;
  byId('turn-status').textContent = 'Click a name to go from turn to turn.';
  for (const id of ['turn-before', 'turn-next', 'turn-none']) byId(id).disabled = true;
  markSelected();
  draw();
}

function markSelected() {
  for (const button of byId('people').querySelectorAll('button')) {
    button.setAttribute('aria-pressed', String(Number(button.dataset.person) === selected));
  }
}

// ---- The list -----------------------------------------------------------------------------------

// Without case and accents.
const plain = (text) => text.normalize('NFKD').replace(/\p{M}/gu, '').toLowerCase();

// Milliseconds matter for short times only.
const brief = (us) => (us < 60 * SECOND ? clock(us) : clock(us).replace(/\.\d+$/, ''));

function personRow(person, most) {
  const { heard_us, heard_percent, seen_us, turns } = people[person];
  const row = element('li');
  const button = element('button', undefined, 'person');
  button.type = 'button';
  button.dataset.person = person;
  button.append(colored(element('i', undefined, 'swatch'), person), nameOf(person));
  button.addEventListener('click', () => jump(person, 1));
  const track = element('span', undefined, 'track');
  const bar = colored(element('span', undefined, 'bar'), person);
  bar.style.width = `${most > 0 ? 100 * heard_percent / most : 0}%`;
  track.append(bar);
  row.append(button, track, element('span', `${heard_percent.toFixed(0)} %`, 'percent'),
    element('span', `heard ${brief(heard_us)}, ${turns === 1 ? '1 turn' : `${turns} turns`}, seen ${brief(seen_us)}`,
      'times'));
  return row;
}

const found = () => {
  const wanted = plain(byId('search').value.trim());
  return ranking.filter((person) => plain(people[person].name).includes(wanted));
};

function fillPeople() {
  const list = byId('people');
  const matches = found();
  const most = Math.max(0, ...people.map((person) => person.heard_percent));
  list.textContent = '';
  for (const person of matches.slice(0, MAX_PEOPLE)) list.append(personRow(person, most));
  const more = matches.length - MAX_PEOPLE;
  byId('people-note').textContent =
    matches.length === 0 ? 'Nobody has such a name.' : more > 0 ? `${more} more; search to find them.` : '';
  markSelected();
}

function moveFocus(event, step) {
  const buttons = [...byId('people').querySelectorAll('button')];
  const at = buttons.indexOf(document.activeElement) + step;
  (at < 0 ? byId('search') : buttons[Math.min(at, buttons.length - 1)])?.focus();
  event.preventDefault();
}

function listenToPeople() {
  const search = byId('search');
  search.addEventListener('input', fillPeople);
  search.addEventListener('keydown', (event) => {
    if (event.key === 'Enter' && found().length > 0) jump(found()[0], 1);
    if (event.key === 'Escape') {
      search.value = '';
      fillPeople();
    }
  });
  byId('people-section').addEventListener('keydown', (event) => {
    if (event.key === 'ArrowDown') moveFocus(event, 1);
    if (event.key === 'ArrowUp') moveFocus(event, -1);
  });
  byId('turn-before').addEventListener('click', () => jump(selected, -1));
  byId('turn-next').addEventListener('click', () => jump(selected, 1));
  byId('turn-none').addEventListener('click', selectNobody);
}

function speakerNotes() {
  const notes = [];
  const { problem, damaged_lines: damaged, heard_count: heardCount, seen_count: seenCount } = data.speakers || {};
  if (problem) notes.push(`The people are unknown: ${problem}.`);
  if (damaged > 0) notes.push(`Damaged lines of the speaker timeline, passed over: ${damaged}.`);
  if (heardCount > speakers.heard.length || seenCount > speakers.seen.length) {
    notes.push(`The timeline shows the first ${Math.max(speakers.heard.length, speakers.seen.length)} turns.`);
  }
  if (data.anonymous) notes.push('Names, title, date, pictures and paths are left out.');
  return notes.join(' ');
}

function showPeople() {
  const notes = speakerNotes();
  byId('speaker-notes').textContent = notes;
  byId('speaker-notes').hidden = notes === '';
  if (!hasPeople) return;
  byId('people-section').hidden = false;
  byId('people-section').after(byId('figures'));
  fillPeople();
  listenToPeople();
}
