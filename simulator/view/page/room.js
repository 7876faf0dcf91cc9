// Shows what the service tells of the room, and makes a control of each direction. What comes over the wire is only ever
// put into text nodes and attributes.

const $ = (id) => document.getElementById(id);
const MOST_CAPTIONS = 6, MOST_MESSAGES = 100, MOST_MARKS = 600, MOST_DIRECTED = 8, WINDOW_MS = 30000,
  MOST_SHOWN = { asked: 16, told: 8 };

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

const kept = new WeakMap(); // the children of a list, by key

// The list gets a child for each [key, build]. One whose key stays is left where it is: focus, a selection and what a
// screen reader has read stay as they are while the room goes on.
function keep(list, items) {
  const had = kept.get(list) || new Map();
  const has = new Map(items.map(([key, build]) => [key, had.get(key) || build()]));
  kept.set(list, has);
  for (const [key, element] of had) if (!has.has(key)) element.remove();
  let at = list.firstChild;
  for (const element of has.values()) {
    if (element === at) at = at.nextSibling;
    else list.insertBefore(element, at);
  }
  return has;
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
  // Those alike are one, which moves to the end and keeps the place at which it is shown.
  const key = `${happening.kind} ${happening.name} ${happening.ending}`;
  const { times, first } = lane.messages.get(key) || { times: 0, first: happening.n };
  lane.messages.delete(key);
  lane.messages.set(key, { key, name: happening.name, kind: happening.kind, isFault: happening.isFault, first, times: times + 1,
    latest: happening });
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

function setIn(element, text) { if (element.textContent !== text) element.textContent = text; }
function setText(id, text) { setIn($(id), text); }

function drawHeader(w) {
  setText('clock', timeText(room.state.timeOfDay));
  const pace = room.state.pace;
  setText('pace', !pace || pace === '1' ? '' : pace === 'stands' ? 'stands still' : pace === 'max' ? 'as fast as it goes' : `× ${pace}`);
  const chips = [['captions', w.captions], ['name plates', w.nameplate], ['face detection', Number(w.detectors) > 0 ? 'on' : 'off'],
    ['director', w.director], [w.lock && w.lock !== '0' ? 'locked' : 'unlocked', w.lock && w.lock !== '0' ? 'on' : ''],
    ...(w.microphone ? [['microphone', w.microphone]] : [])];
  keep($('chips'), chips.map(([name, state]) => [`${name} ${state}`, () => {
    const isOn = state === 'on';
    return make('li', isOn || !state ? name : `${name} ${state}`, isOn ? 'on' : '');
  }]));
}

// Id and score above the box, inside the picture.
function labelOf(face) {
  const isRight = face.left > 1600;
  return shape('text', { x: isRight ? Math.min(face.left + face.width, 1910) : Math.max(face.left, 10), y: Math.max(face.top - 14, 40),
    'text-anchor': isRight ? 'end' : 'start' }, `${face.face} · ${face.score} %`);
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
      labelOf(face));
    const name = room.names.get(face.face);
    if (w.nameplate === 'on' && name) {
      const width = name.length * 19 + 40, y = face.top + face.height + 18;
      parts.push(shape('rect', { class: 'plate', x: face.left + face.width / 2 - width / 2, y, width, height: 50, rx: 8 }),
        shape('text', { x: face.left + face.width / 2, y: y + 37, 'text-anchor': 'middle', class: 'name' }, name));
    }
  }
  $('camera').replaceChildren(...parts);
  $('camera').dataset.faces = String(faces.length);
  setText('camera-text', !isDetecting ? 'No application has face detection on: what the camera sees is not looked at.'
    : `${faces.length === 1 ? 'One face, with its id and score' : `${faces.length} faces, with their ids and scores`}${w.director === 'on' ? '; the dashed frame is the director’s' : ''}.`);
}

function drawCaptions(w) {
  setText('captions-state', w.captions || '');
  const items = keep($('captions'), [...room.captions.keys()].map((number) => [number, () => {
    const item = make('li');
    item.append(make('span', '', 'speaker'), make('span'));
    return item;
  }]));
  for (const [number, line] of room.captions) {
    const item = items.get(number), [speaker, text] = item.children;
    item.className = line.final ? '' : 'partial';
    setIn(speaker, line.speaker || 'somebody');
    setIn(text, line.text);
  }
}

const photos = new Map(); // one element for each photo, so that it is fetched once
function drawPeople(w) {
  const people = room.state.people, present = people.filter((one) => one.present).length;
  setText('checkin-state', `${w['check-in'] || 'off'}${people.length ? `, ${present} of ${people.length} here` : ''}`);
  $('checkin-bar').style.width = people.length ? `${100 * present / people.length}%` : '0';
  const list = [...people].sort((a, b) => Number(b.present) - Number(a.present));
  keep($('people'), list.map((one) => [JSON.stringify(one), () => {
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
  }]));
}

function talk(id, rows) {
  const said = rows.filter(([, text]) => text);
  const items = keep($(id), said.flatMap(([what]) => [[`${what}?`, () => make('dt', what)], [what, () => make('dd')]]));
  for (const [what, text] of said) setIn(items.get(what), text);
}

function drawTalk(w) {
  const a = room.assistant, m = room.model;
  setText('assistant-state', (w.assistant || '') + (w.microphone === 'off' ? ', microphone off' : ''));
  talk('assistant', [['heard', a.heard], ['says', a.spoken], ['card', a.card], ['choices', a.choices.join(' · ')], ['error', a.error]]);
  setText('model-state', m.result || 'not asked');
  talk('model', [['asked', m.question], ['answers', m.answer]]);
  setText('minutes-state', w.minutes && w.minutes !== 'none' ? `of ${w.minutes}` : 'not kept');
}

function messageText(group) {
  const { latest } = group;
  const ending = latest.kind === 'asked' ? ` → ${latest.ending}` : latest.ending ? ` (${latest.ending})` : '';
  return `${group.name}${group.times > 1 ? ` × ${group.times}` : ''}${ending}`;
}

let shownBy = null; // the button whose message is shown

function hideDetail() {
  $('detail').hidden = true;
  if (shownBy && shownBy.isConnected) shownBy.focus();
}

function showDetail(happening, button) {
  shownBy = button || null;
  const detail = $('detail'), isAsked = happening.kind === 'asked';
  const close = make('button', 'Close', 'plain');
  close.type = 'button';
  close.addEventListener('click', hideDetail);
  const ending = happening.ending + (happening.replyBytes !== undefined ? ` with ${bytesText(happening.replyBytes)}` : '');
  detail.hidden = false;
  detail.replaceChildren(close, make('strong', happening.name),
    make('p', `${isAsked ? `asked by ${happening.app}` : `told to ${happening.app}`} at ${atText(happening.at)}, ${bytesText(happening.bytes)}${ending ? `; ${ending}` : ''}${happening.fault ? ', by a fault that was directed' : ''}`),
    make('pre', happening.fields ? JSON.stringify(happening.fields, null, 1) : 'no fields'));
  if (happening.reply) detail.append(make('p', 'The reply'), make('pre', JSON.stringify(happening.reply, null, 1)));
  detail.focus({ preventScroll: false });
}

const bytesText = (count) => `${count} ${count === 1 ? 'byte' : 'bytes'}`;

function laneElement(lane) {
  if (!lane.element) {
    lane.element = make('div', undefined, 'lane');
    lane.title = make('h3');
    lane.title.append(make('b'), ' ', make('span'), ' ', make('em'));
    lane.canvas = make('canvas');
    lane.canvas.setAttribute('aria-hidden', 'true');
    lane.canvas.addEventListener('click', (event) => {
      const { x } = scaleOf(lane.canvas), near = lane.marks.filter((mark) => Math.abs(x(mark) - event.offsetX) < 6);
      if (near.length) showDetail(near[near.length - 1]);
    });
    lane.element.append(lane.title, lane.canvas);
    lane.lists = {};
    for (const kind of ['asked', 'told']) {
      const line = make('div', undefined, 'messages'), list = make('ul');
      list.setAttribute('aria-label', `${kind === 'asked' ? 'Asked by' : 'Told to'} ${lane.app}`);
      line.append(make('span', kind), list);
      lane.element.append(line);
      lane.lists[kind] = list;
    }
    $('lanes').append(lane.element);
  }
  return lane.element;
}

// The latest, in the order in which they came first.
function drawMessages(lane, kind) {
  const groups = [...lane.messages.values()].filter((group) => group.kind === kind).slice(-MOST_SHOWN[kind])
    .sort((a, b) => a.first - b.first);
  const items = keep(lane.lists[kind], groups.map((group) => [group.key, () => {
    const item = make('li', undefined, group.isFault ? 'fault' : kind), button = make('button');
    button.type = 'button';
    button.addEventListener('click', () => showDetail(lane.messages.get(group.key).latest, button));
    item.append(button);
    return item;
  }]));
  for (const group of groups) setIn(items.get(group.key).firstChild, messageText(group));
  lane.lists[kind].parentElement.hidden = groups.length === 0;
}

function drawLanes() {
  const here = new Map(room.state.applications.map((one) => [one.name, one]));
  setText('lanes-state', `${room.state.applications.filter((one) => one.announced).length} connected`);
  for (const lane of room.lanes.values()) {
    lane.isGone = !here.has(lane.app) || !here.get(lane.app).announced;
    laneElement(lane).className = lane.isGone ? 'lane gone' : 'lane';
    const owns = [...lane.owns].join(', '), [, pid] = lane.app.match(/^ai_vpp(\d+)$/) || [];
    const [name, , about, , lost] = lane.title.childNodes, losses = here.has(lane.app) ? here.get(lane.app).lost : 0;
    setIn(name, lane.app);
    setIn(lost, losses ? `${losses} messages lost: it takes them too slowly, or not at all` : '');
    setIn(about, `${pid ? `process ${pid}, ` : ''}${lane.isGone ? 'has left; it came' : 'connected'} at ${atText(lane.since)}${!lane.isGone && owns ? ` · uses ${owns}` : ''}`);
    for (const kind of ['asked', 'told']) drawMessages(lane, kind);
  }
  // Those who left longest ago make room.
  const gone = [...room.lanes.values()].filter((lane) => lane.isGone);
  for (const lane of gone.slice(0, Math.max(0, room.lanes.size - 12))) {
    lane.element.remove();
    room.lanes.delete(lane.app);
  }
  $('nobody').hidden = room.lanes.size > 0;
  setText('merged', room.merged ? `${room.merged} messages came too fast to be shown and are not in the counts.` : '');
}

// A time line: the room's last half minute, at its pace. Requests stand above the line, events below.
const spanMs = () => WINDOW_MS * Math.max(1, paceNumber());
function scaleOf(canvas) {
  const now = roomMs(), span = spanMs(), width = canvas.clientWidth;
  return { width, x: (mark) => Math.min(width - 3, width * (1 - (now - mark.at) / span)) };
}

const nameWidths = new Map(); // in pixels, of as many names as there are messages
function nameWidth(context, name) {
  if (!nameWidths.has(name)) nameWidths.set(name, context.measureText(name).width);
  return nameWidths.get(name);
}

function drawTimes() {
  const seconds = spanMs() / 1000;
  setText('span', seconds < 120 ? `${seconds} s` : `${Math.round(seconds / 60)} min`);
  const style = getComputedStyle(document.documentElement);
  const colour = Object.fromEntries(['asked', 'told', 'fault', 'line', 'quiet'].map((name) => [name, style.getPropertyValue(`--${name}`)]));
  for (const { canvas, marks } of room.lanes.values()) {
    if (!canvas) continue;
    const seen = canvas.getBoundingClientRect();
    if (seen.bottom < 0 || seen.top > innerHeight) continue;
    const scale = window.devicePixelRatio || 1, { width, x } = scaleOf(canvas), height = canvas.clientHeight;
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
      const left = x(mark);
      if (left < 0) break; // and those before it
      const isAsked = mark.kind === 'asked';
      context.fillStyle = mark.isFault ? colour.fault : colour[mark.kind];
      context.fillRect(left, isAsked ? height / 2 - 11 : height / 2 + 2, 2, 10);
      const size = nameWidth(context, mark.name);
      if (left + size + 6 < nameFrom[mark.kind] && left + size < width) {
        context.fillText(mark.name, left, isAsked ? height / 2 - 14 : height / 2 + 23);
        nameFrom[mark.kind] = left;
      }
    }
  }
}

function drawDirected() {
  keep($('directed'), [...room.directed].reverse().map((one) => [`${one.n} ${atText(one.at)}`, () => {
    const item = make('li');
    item.append(make('time', atText(one.at)), make('span', one.line));
    return item;
  }]));
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
    fetchRows().catch(() => {}); // the next connection comes to it again
    $('link').className = 'link';
    setText('link', 'live');
  };
  source.onerror = () => {
    $('link').className = 'link lost';
    // One that is turned away is not tried again: too many pages look on, or another service has the port.
    setText('link', source.readyState === EventSource.CLOSED ? 'this page is told nothing more; orvi-room view tells the address that holds'
      : 'the service is not there: this is the last that it told');
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

// Again when the service was not there for it.
async function fetchRows() {
  if (rows.length) return;
  const found = await (await fetch('vocabulary')).json();
  if (rows.length) return;
  rows = found;
  $('direction').append(...rows.map((row) => make('option', row.name)));
  $('direction').selectedIndex = Math.max(0, rows.findIndex((row) => row.name === 'caption'));
  chooseRow();
}

function start() {
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
}

document.addEventListener('keydown', (event) => {
  if (event.key === 'Escape' && $('detail').contains(document.activeElement)) hideDetail();
});
if (!$('recorded')) { // else recorded.js follows
  listen();
  start();
}
