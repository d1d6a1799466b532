// The data of the page, and how it is written for people. The page joins all scripts of this folder.

const data = JSON.parse(document.getElementById('data').textContent);
const timeline = data.timeline;
const SECOND = 1e6;

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
