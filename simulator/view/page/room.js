// Shows what the service tells of the room, and makes a control of each direction. What comes over the wire is only ever
// put into text nodes and attributes.

const $ = (id) => document.getElementById(id);
const MOST_CAPTIONS = 6, MOST_MESSAGES = 100, MOST_MARKS = 600, MOST_DIRECTED = 8, WINDOW_MS = 30000;

function make(name, text, className) {
  const element = document.createElement(name);
  if (text !== undefined) element.textContent = text;
  if (className) element.className = className;
  return element;
}

function shape(name, attributes, text) {
  const element = document.createElementNS('http://www.w3.org/2000/svg', name);
  for (const [key, value] of Object.entries(attributes)) element.setAttribute(key, value);
  if (text !== undefined) element.textContent = text;
  return element;
}

// --- What is known ---

const room = {
  state: null, stateAt: 0,     // and when it came, by performance.now()
  faces: [], names: new Map(), // of faces, by id, as captions name them
  captions: new Map(),         // by number
  assistant: { heard: '', spoken: '', card: '', choices: [], error: '' },
  model: { question: '', answer: '', result: '' },
  lanes: new Map(),            // by application
  directed: [],
  merged: 0,
};
const words = () => Object.fromEntries((room.state ? room.state.words : '').split(' ').map((part) => part.split('=', 2)));

// What an event or a request makes visible. One of an event that nobody got makes nothing.
const SHOWS = {
  'face.event': (f) => { room.faces = f.faces || []; },
  'caption.speaker': (f) => { if (f.face) room.names.set(f.face, f.speaker); },
  'caption.line': (f) => {
    if (f.face && f.speaker) room.names.set(f.face, f.speaker);
    room.captions.set(f.number, f);
    while (room.captions.size > MOST_CAPTIONS) room.captions.delete(room.captions.keys().next().value);
  },
  'caption.switch': (f) => { if (f.running === false) room.captions.clear(); },
  'assistant.woken': () => { room.assistant = { heard: '', spoken: '', card: '', choices: [], error: '' }; },
  'assistant.heard': (f) => { room.assistant.heard = f.text; room.assistant.error = ''; },
  'assistant.spoken': (f) => { room.assistant.spoken = f.text; },
  'assistant.shown': (f) => { room.assistant.card = [f.title, f.text].filter(Boolean).join(': ') || JSON.stringify(f); },
  'assistant.choice': (f) => { room.assistant.choices = (f.items || []).map((item) => item.text || item.name || ''); },
  'assistant.error': (f) => { room.assistant.error = f.text || f.code; },
  'assistant.asleep': () => { room.assistant.choices = []; },
  'model.ask': (f) => { room.model = { question: f.text || '', answer: '', result: 'thinking', request: f.request }; },
  'model.begin': (f) => { room.model.answer = ''; room.model.result = 'answering'; room.model.request = f.request; },
  'model.piece': (f) => { room.model.answer += f.text; },
  'model.end': (f) => { room.model.result = f.result; },
};

// Directions by which somebody looks and changes nothing.
const ONLY_TELL = new Set(['state', 'persons', 'clients', 'clock', 'assistant', 'faults']);

// What an application owns from one answered request to another.
const OWNS = { 'caption.start': 'captions', 'nameplate.start': 'nameplates', 'minutes.start': 'minutes',
  'checkin.start-report': 'check-in', 'model.init': 'model', 'face.create': 'detector', 'hotword.register': 'hot words',
  'assistant.intents': 'intents' };
const GIVES_UP = { 'caption.stop': 'captions', 'nameplate.stop': 'nameplates', 'minutes.stop': 'minutes',
  'checkin.stop-report': 'check-in', 'model.deinit': 'model', 'face.destroy': 'detector' };

function laneOf(happening) {
  let lane = room.lanes.get(happening.app);
  if (!lane) {
    lane = { app: happening.app, since: happening.at, marks: [], messages: new Map(), owns: new Set(), isGone: false };
    room.lanes.set(happening.app, lane);
  }
  return lane;
}

const isFault = (h) => Boolean(h.fault) || /^(refused|lost|timeout|gone|absent|error)/.test(h.ending);

const shownPieces = new Set(); // an event for many applications is one in the picture
function take(happening) {
  if (happening.kind === 'directed') {
    if (ONLY_TELL.has(happening.line)) return;
    room.directed.push(happening);
    if (room.directed.length > MOST_DIRECTED) room.directed.shift();
    return;
  }
  const lane = laneOf(happening);
  happening.isFault = isFault(happening);
  lane.marks.push(happening);
  if (lane.marks.length > MOST_MARKS) lane.marks.splice(0, lane.marks.length - MOST_MARKS);
  // Those alike are one, which moves to the end.
  const alike = `${happening.kind} ${happening.name} ${happening.ending}`;
  const times = (lane.messages.get(alike) || { times: 0 }).times + 1;
  lane.messages.delete(alike);
  lane.messages.set(alike, { name: happening.name, kind: happening.kind, isFault: happening.isFault, times, latest: happening });
  if (lane.messages.size > MOST_MESSAGES) lane.messages.delete(lane.messages.keys().next().value);
  if (happening.kind === 'asked' && /^(answered|taken)/.test(happening.ending)) {
    if (OWNS[happening.name]) lane.owns.add(OWNS[happening.name]);
    lane.owns.delete(GIVES_UP[happening.name]);
    if (happening.name === 'app.deinit') lane.owns.clear();
  }
  const show = SHOWS[happening.name];
  if (!show || !happening.fields || happening.ending === 'lost') return;
  if (happening.name === 'model.piece') {
    const piece = `${happening.fields.request} ${happening.fields.index}`;
    if (shownPieces.has(piece)) return;
    shownPieces.add(piece);
  } else if (happening.name === 'model.begin') {
    for (const piece of shownPieces) if (piece.startsWith(`${happening.fields.request} `)) shownPieces.delete(piece);
  }
  show(happening.fields);
}

// --- Drawing ---

const two = (number) => String(number).padStart(2, '0');
function timeText(seconds) {
  const date = new Date(seconds * 1000);
  return `${two(date.getUTCHours())}:${two(date.getUTCMinutes())}:${two(date.getUTCSeconds())}`;
}
const startOfDay = () => room.state.timeOfDay - room.state.seconds;
const atText = (ms) => timeText(startOfDay() + ms / 1000);
const paceNumber = () => (Number(room.state.pace) || (room.state.pace === 'max' ? 60 : 0));

// The room's time by now: between two states it goes on at its pace.
function roomMs() {
  const since = Math.min(performance.now() - room.stateAt, 2000);
  return room.state.seconds * 1000 + since * paceNumber();
}

function setText(id, text) { if ($(id).textContent !== text) $(id).textContent = text; }

function drawHeader(w) {
  setText('clock', timeText(room.state.timeOfDay));
  const pace = room.state.pace;
  setText('pace', !pace || pace === '1' ? '' : pace === 'stands' ? 'stands still' : pace === 'max' ? 'as fast as it goes' : `× ${pace}`);
  const chips = [['captions', w.captions], ['name plates', w.nameplate], ['face detection', Number(w.detectors) > 0 ? 'on' : 'off'],
    ['director', w.director], [w.lock && w.lock !== '0' ? 'locked' : 'unlocked', w.lock && w.lock !== '0' ? 'on' : ''],
    ...(w.microphone ? [['microphone', w.microphone]] : [])];
  $('chips').replaceChildren(...chips.map(([name, state]) => {
    const isOn = state === 'on';
    return make('li', isOn || !state ? name : `${name} ${state}`, isOn ? 'on' : '');
  }));
}

function drawCamera(w) {
  const isDetecting = Number(w.detectors) > 0;
  const faces = isDetecting ? room.faces : [];
  const parts = [];
  for (const face of faces) {
    const x = face.left + face.width / 2, y = face.top + face.height / 2;
    parts.push(shape('ellipse', { class: 'figure', cx: x, cy: y, rx: face.width * .46, ry: face.height * .5 }),
      shape('path', { class: 'figure',
        d: `M${x - face.width * 1.1} ${face.top + face.height * 2.1} q0 ${-face.height} ${face.width * 1.1} ${-face.height} q${face.width * 1.1} 0 ${face.width * 1.1} ${face.height} z` }));
  }
  if (w.director === 'on' && faces.length > 0) {
    const left = Math.max(0, Math.min(...faces.map((f) => f.left)) - 160), top = Math.max(0, Math.min(...faces.map((f) => f.top)) - 140);
    const right = Math.min(1920, Math.max(...faces.map((f) => f.left + f.width)) + 160);
    const bottom = Math.min(1080, Math.max(...faces.map((f) => f.top + f.height)) + 240);
    parts.push(shape('rect', { class: 'frame', x: left, y: top, width: right - left, height: bottom - top, rx: 12 }));
  }
  for (const face of faces) {
    parts.push(shape('rect', { class: 'box', x: face.left, y: face.top, width: face.width, height: face.height, rx: 10 }),
      shape('text', { x: face.left, y: face.top - 14 }, `${face.face} · ${face.score} %`));
    const name = room.names.get(face.face);
    if (w.nameplate === 'on' && name) {
      const width = name.length * 19 + 40, y = face.top + face.height + 18;
      parts.push(shape('rect', { class: 'plate', x: face.left + face.width / 2 - width / 2, y, width, height: 50, rx: 8 }),
        shape('text', { x: face.left + face.width / 2, y: y + 37, 'text-anchor': 'middle', class: 'name' }, name));
    }
  }
  $('camera').replaceChildren(...parts);
  $('camera').dataset.faces = String(faces.length);
  setText('camera-text', !isDetecting ? 'No application looks for faces.'
    : `${faces.length === 1 ? 'One face' : `${faces.length} faces`}${w.director === 'on' ? '; the dashed frame is the director’s' : ''}.`);
}

function drawCaptions(w) {
  setText('captions-state', w.captions || '');
  $('captions').replaceChildren(...[...room.captions.values()].map((line) => {
    const item = make('li', undefined, line.final ? '' : 'partial');
    item.append(make('span', line.speaker || 'somebody', 'speaker'), make('span', line.text));
    return item;
  }));
}

const photos = new Map(); // one element for each photo, so that it is fetched once
function drawPeople(w) {
  const people = room.state.people, present = people.filter((one) => one.present).length;
  setText('checkin-state', `${w['check-in'] || 'off'}${people.length ? `, ${present} of ${people.length}` : ''}`);
  $('checkin-bar').style.width = people.length ? `${100 * present / people.length}%` : '0';
  const list = [...people].sort((a, b) => Number(b.present) - Number(a.present));
  $('people').replaceChildren(...list.map((one) => {
    const item = make('li', undefined, one.present ? 'present' : '');
    let photo = make('i');
    if (one.present) {
      const key = `${one.id} ${one.time}`;
      if (!photos.has(key)) {
        const image = make('img');
        image.alt = '';
        image.src = `photo?${encodeURIComponent(one.id)}`;
        photos.set(key, image);
      }
      photo = photos.get(key);
    }
    item.append(photo, make('span', one.name, one.invited ? '' : 'guest'));
    item.setAttribute('aria-label', `${one.name}${one.invited ? '' : ', a guest'}, ${one.present ? 'present' : 'not here'}`);
    return item;
  }));
}

function talk(id, rows) {
  $(id).replaceChildren(...rows.filter(([, text]) => text).flatMap(([what, text]) => [make('dt', what), make('dd', text)]));
}

function drawTalk(w) {
  const a = room.assistant, m = room.model;
  setText('assistant-state', (w.assistant || '') + (w.microphone === 'off' ? ', microphone off' : ''));
  talk('assistant', [['heard', a.heard], ['says', a.spoken], ['card', a.card], ['choices', a.choices.join(' · ')], ['error', a.error]]);
  setText('model-state', m.result);
  talk('model', [['asked', m.question], ['answers', m.answer]]);
  setText('minutes-state', w.minutes && w.minutes !== 'none' ? `of ${w.minutes}` : 'not kept');
}

function messageText(group) {
  const { latest } = group;
  const ending = latest.kind === 'asked' ? ` → ${latest.ending}` : latest.ending ? ` (${latest.ending})` : '';
  return `${group.name}${group.times > 1 ? ` × ${group.times}` : ''}${ending}`;
}

function showDetail(happening) {
  const detail = $('detail');
  detail.hidden = false;
  detail.replaceChildren(make('strong', `${happening.name} `),
    make('span', `${happening.kind} ${happening.app} at ${atText(happening.at)}, ${happening.bytes} bytes${happening.ending ? `, ${happening.ending}` : ''}${happening.fault ? ', by a fault that was directed' : ''}`),
    make('pre', happening.fields ? JSON.stringify(happening.fields, null, 1) : 'no fields'));
  if (happening.reply) detail.append(make('pre', `reply ${JSON.stringify(happening.reply, null, 1)}`));
  detail.focus({ preventScroll: false });
}

function laneElement(lane) {
  if (!lane.element) {
    lane.element = make('div', undefined, 'lane');
    lane.title = make('h3');
    lane.canvas = make('canvas');
    lane.canvas.setAttribute('aria-hidden', 'true');
    lane.canvas.addEventListener('click', (event) => {
      const near = lane.marks.filter((mark) => Math.abs(mark.x - event.offsetX) < 6);
      if (near.length) showDetail(near[near.length - 1]);
    });
    lane.list = make('ul', undefined, 'messages');
    lane.list.setAttribute('aria-label', `Messages of ${lane.app}`);
    lane.element.append(lane.title, lane.canvas, lane.list);
    $('lanes').append(lane.element);
  }
  return lane.element;
}

function drawLanes() {
  const here = new Map(room.state.applications.map((one) => [one.name, one.announced]));
  setText('lanes-state', `${[...here.values()].filter(Boolean).length} connected`);
  for (const lane of room.lanes.values()) {
    lane.isGone = !here.get(lane.app);
    laneElement(lane).className = lane.isGone ? 'lane gone' : 'lane';
    const owns = [...lane.owns].join(', ');
    lane.title.replaceChildren(document.createTextNode(`${lane.app} `),
      make('span', `${lane.isGone ? 'has left; it came' : 'connected'} at ${atText(lane.since)}${!lane.isGone && owns ? ` · has ${owns}` : ''}`));
    const latest = [...lane.messages.values()].slice(-8).reverse();
    const signature = latest.map(messageText).join('|');
    if (lane.signature !== signature && !lane.list.contains(document.activeElement)) {
      lane.signature = signature;
      lane.list.replaceChildren(...latest.map((group) => {
        const item = make('li', undefined, group.isFault ? 'fault' : group.kind);
        const button = make('button', messageText(group));
        button.type = 'button';
        button.addEventListener('click', () => showDetail(group.latest));
        item.append(button);
        return item;
      }));
    }
  }
  // Those who left longest ago make room.
  const gone = [...room.lanes.values()].filter((lane) => lane.isGone);
  for (const lane of gone.slice(0, Math.max(0, room.lanes.size - 12))) {
    lane.element.remove();
    room.lanes.delete(lane.app);
  }
  setText('merged', room.merged ? `· ${room.merged} messages came too fast to be shown one by one` : '');
}

// A time line: the room's last half minute, at its pace. Requests stand above the line, events below.
function drawTimes() {
  const now = roomMs(), span = WINDOW_MS * Math.max(1, paceNumber());
  const style = getComputedStyle(document.documentElement);
  const colour = Object.fromEntries(['asked', 'told', 'fault', 'line', 'quiet'].map((name) => [name, style.getPropertyValue(`--${name}`)]));
  for (const { canvas, marks } of room.lanes.values()) {
    if (!canvas) continue;
    const scale = window.devicePixelRatio || 1, width = canvas.clientWidth, height = canvas.clientHeight;
    if (canvas.width !== Math.round(width * scale)) canvas.width = Math.round(width * scale);
    if (canvas.height !== Math.round(height * scale)) canvas.height = Math.round(height * scale);
    const context = canvas.getContext('2d');
    context.setTransform(scale, 0, 0, scale, 0, 0);
    context.clearRect(0, 0, width, height);
    context.fillStyle = colour.line;
    context.fillRect(0, height / 2, width, 1);
    let nameFrom = { asked: Infinity, told: Infinity };
    context.font = '11px system-ui, sans-serif';
    for (let i = marks.length - 1; i >= 0; --i) {
      const mark = marks[i];
      mark.x = Math.min(width - 3, width * (1 - (now - mark.at) / span));
      if (mark.x < 0) continue;
      const isAsked = mark.kind === 'asked';
      context.fillStyle = mark.isFault ? colour.fault : colour[mark.kind];
      context.fillRect(mark.x, isAsked ? height / 2 - 11 : height / 2 + 2, 2, 10);
      const size = context.measureText(mark.name).width;
      if (mark.x + size + 6 < nameFrom[mark.kind] && mark.x + size < width) {
        context.fillText(mark.name, mark.x, isAsked ? height / 2 - 14 : height / 2 + 23);
        nameFrom[mark.kind] = mark.x;
      }
    }
  }
}

function drawDirected() {
  $('directed').replaceChildren(...[...room.directed].reverse().map((one) => {
    const item = make('li');
    item.append(make('time', atText(one.at)), make('span', one.line));
    return item;
  }));
}

let isDue = false;
function draw() {
  isDue = false;
  if (!room.state) return;
  const w = words();
  drawHeader(w);
  drawCamera(w);
  drawCaptions(w);
  drawPeople(w);
  drawTalk(w);
  drawLanes();
  drawTimes();
  drawDirected();
}
function drawSoon() {
  if (!isDue) {
    isDue = true;
    requestAnimationFrame(draw);
  }
}
setInterval(() => { if (room.state && !document.hidden) drawTimes(); }, 100);

// --- What comes ---

function forget() {
  Object.assign(room, { faces: [], names: new Map(), captions: new Map(), directed: [], merged: 0,
    assistant: { heard: '', spoken: '', card: '', choices: [], error: '' }, model: { question: '', answer: '', result: '' } });
  for (const lane of room.lanes.values()) if (lane.element) lane.element.remove();
  room.lanes.clear();
  shownPieces.clear();
}

function listen() {
  let isFresh = true;
  const source = new EventSource('events');
  source.onopen = () => {
    forget(); // a service that starts anew begins anew; one that was lost for a moment tells everything again
    isFresh = true;
    $('link').className = 'link';
    setText('link', 'live');
  };
  source.onerror = () => {
    $('link').className = 'link lost';
    // One that is turned away is not tried again: too many pages look on, or another service has the port.
    setText('link', source.readyState === EventSource.CLOSED ? 'this page is told nothing more; load it again' : 'the service is not there');
  };
  source.onmessage = (event) => {
    const news = JSON.parse(event.data);
    if (news.state) {
      room.state = news.state;
      room.stateAt = performance.now();
    }
    for (const happening of news.happenings) take(happening);
    if (!isFresh) room.merged += news.merged;
    isFresh = false;
    drawSoon();
  };
}

// --- Directions ---

// A word that begins with text: goes on to the end of its line unless it is quoted.
const quoted = (word) => (/^(?!text:)[\w.,:;/@%+=-]+$/.test(word) ? word : `"${word.replace(/[\\"]/g, '\\$&')}"`);
const shellQuoted = (word) => (/^[\w.,:/@%+=-]+$/.test(word) ? word : `'${word.replace(/'/g, `'\\''`)}'`);
let rows = [];

function field(parameter, isOption) {
  const isLeft = isOption ? !parameter.needed : parameter.optional;
  const label = make('label', (isOption ? parameter.name.split(' ')[0].slice(2) : parameter.name.toLowerCase()) +
    (isLeft && parameter.type !== 'flag' ? ' (optional)' : ''));
  const choices = parameter.type === 'choice' ? parameter.name.split(' ').pop().split('|') : null;
  const input = make(choices ? 'select' : 'input');
  if (choices) {
    const list = parameter.optional || (isOption && !parameter.needed) ? ['', ...choices] : choices;
    input.append(...list.map((choice) => make('option', choice)));
  } else if (parameter.type === 'flag') {
    input.type = 'checkbox';
  } else if (parameter.type === 'message') {
    input.setAttribute('list', 'messages');
  }
  input.required = isOption ? Boolean(parameter.needed) : !parameter.optional;
  if (parameter.type === 'flag') input.required = false;
  if (parameter.type === 'number' && parameter.most < 4294967295) input.placeholder = `${parameter.least} to ${parameter.most}`;
  if (parameter.type === 'number-or') input.placeholder = `${parameter.least} to ${parameter.most}, or ${parameter.name.split('|')[1]}`;
  if (parameter.type === 'clock') input.placeholder = '09:30';
  if (parameter.type === 'time') input.placeholder = '500ms, 2s, 1m30s';
  input.dataset.name = parameter.name;
  input.dataset.type = parameter.type;
  label.append(input);
  return { parameter, isOption, input, label };
}

let fields = [];
const currentRow = () => rows[$('direction').selectedIndex];

// The words of the direction as they stand in the form: its name, options, and parameters, whose text takes all that is left.
function chosenWords() {
  const row = currentRow(), options = [], list = [];
  for (const { parameter, isOption, input } of fields) {
    const value = input.type === 'checkbox' ? input.checked : input.value;
    if (value === '' || value === false) continue;
    if (isOption) {
      options.push(parameter.name.split(' ')[0]);
      if (value !== true) options.push(String(value));
    } else if (parameter.type === 'words') {
      // "text=Good morning" between quotes is one word.
      for (const [word] of value.matchAll(/(?:"(?:\\.|[^"\\])*"|[^\s"])+/g)) {
        list.push(word.replace(/"((?:\\.|[^"\\])*)"/g, (all, inner) => inner.replace(/\\(.)/g, '$1')));
      }
    } else {
      list.push(String(value));
    }
  }
  // Behind "--" a word that begins like an option is none.
  const isGuarded = list.some((word) => word.startsWith('--'));
  return [...row.name.split(' '), ...options, ...(isGuarded ? ['--'] : []), ...list];
}

function drawCommand() { setText('command', ['orvi-room', ...chosenWords().map(shellQuoted)].join(' ')); }

function chooseRow() {
  const row = currentRow();
  fields = [...row.parameters.map((one) => field(one, false)), ...row.options.map((one) => field(one, true))];
  $('words').replaceChildren(...fields.map((one) => one.label));
  setText('help', row.help);
  drawCommand();
}

const lineOf = () => chosenWords().map(quoted).join(' ');

async function perform(event) {
  event.preventDefault();
  $('answer').className = '';
  setText('answer', '…');
  try {
    const response = await fetch('direction', { method: 'POST', body: lineOf() });
    const text = (await response.text()).replace(/^(ok|error) ?\n?/, '');
    const isOk = response.ok && !/^error/.test(text);
    $('answer').className = isOk ? '' : 'no';
    setText('answer', text.trim() || 'done');
  } catch {
    $('answer').className = 'no';
    setText('answer', 'the service is not there');
  }
}

async function start() {
  rows = await (await fetch('vocabulary')).json();
  $('direction').append(...rows.map((row) => make('option', row.name)));
  const first = rows.findIndex((row) => row.name === 'caption');
  $('direction').selectedIndex = Math.max(0, first);
  $('direction').addEventListener('change', chooseRow);
  $('words').addEventListener('input', drawCommand);
  $('direct').addEventListener('submit', perform);
  $('copy').addEventListener('click', async () => {
    try {
      await navigator.clipboard.writeText($('command').textContent);
      setText('copy', 'Copied');
    } catch {
      getSelection().selectAllChildren($('command'));
    }
    setTimeout(() => setText('copy', 'Copy'), 1500);
  });
  chooseRow();
}

if (!$('recorded')) { // else recorded.js follows
  listen();
  start();
}
