// --- A recorded session: its messages stand in the page, and the time is what the slider says ---

const SERVICE = 'AI_VISION', ROOM_TASK = 'ai_room', STEP_MS = 100;

// A line of orvi-bus as what the live page is told.
function happeningOf(line, index) {
  const isAsked = line.to === SERVICE;
  const good = !isAsked ? '' : line.kind === 'request' ? 'answered' : 'taken';
  return { n: index + 1, at: line.seconds * 1000, kind: isAsked ? 'asked' : 'told', name: line.name, app: isAsked ? line.from : line.to,
    bytes: line.size, ending: line.verdict === 'ok' ? good : isAsked ? line.verdict : 'lost', fields: line.values, reply: line.reply };
}

const session = JSON.parse($('recorded').textContent);
const all = session.messages.filter((line) => !line.late && line.kind !== 'bus-event' && line.task !== ROOM_TASK &&
    (line.from === SERVICE) !== (line.to === SERVICE))
  .map(happeningOf);
const endMs = Math.ceil((all.length ? all[all.length - 1].at : 0) / STEP_MS) * STEP_MS;

// What the live page's service tells of itself, as far as its messages tell it.
const DIRECTOR = { 'director.create': 'off', 'director.start': 'on', 'director.stop': 'off', 'director.remove': 'removed' };
const ASSISTANT = { 'assistant.woken': 'awake', 'assistant.listening': 'listening', 'assistant.spoken': 'speaking',
  'assistant.not-listening': 'awake', 'assistant.asleep': 'asleep' };
let was = {}, next = 0, nowMs = 0;

function observe(happening) {
  if (!/^(answered|taken|)$/.test(happening.ending)) return;
  was.director = DIRECTOR[happening.name] || was.director;
  was.assistant = ASSISTANT[happening.name] || was.assistant;
  if (happening.name === 'lock.state' && happening.fields) was.lock = String(happening.fields.state);
  if (happening.name === 'face.start') was.detecting.add(happening.app);
  if (happening.name === 'face.stop' || happening.name === 'app.deinit') was.detecting.delete(happening.app);
  if (happening.name === 'app.deinit') was.here.delete(happening.app); else was.here.add(happening.app);
}

function seek(ms) {
  if (ms < nowMs || next === 0) {
    forget();
    was = { director: 'removed', assistant: 'asleep', lock: '0', detecting: new Set(), here: new Set() };
    next = 0;
  }
  for (nowMs = ms; next < all.length && all[next].at <= ms; ++next) {
    take({ ...all[next] });
    observe(all[next]);
  }
  const owner = (what) => [...room.lanes.values()].find((lane) => lane.owns.has(what));
  const has = (what) => (owner(what) ? 'on' : 'off');
  room.state = {
    words: `captions=${has('captions')} nameplate=${has('nameplates')} detectors=${was.detecting.size} director=${was.director}` +
      ` lock=${was.lock} assistant=${was.assistant} minutes=${owner('minutes')?.app || 'none'} check-in=${has('check-in')}`,
    pace: '', seconds: ms / 1000, timeOfDay: ms / 1000, people: [],
    applications: [...was.here].map((name) => ({ name, announced: true })),
  };
  room.stateAt = performance.now();
  $('at').value = ms;
  $('at').setAttribute('aria-valuetext', timeText(ms / 1000));
  drawSoon();
}

let playing = 0;
function play(isOn) {
  clearInterval(playing);
  playing = isOn ? setInterval(() => (nowMs >= endMs ? play(false) : seek(Math.min(endMs, nowMs + STEP_MS))), STEP_MS) : 0;
  setText('play', isOn ? 'Pause' : 'Play');
  if (isOn && nowMs >= endMs) seek(0);
}

const slider = Object.assign(make('input'), { id: 'at', type: 'range', min: 0, max: endMs, step: STEP_MS });
slider.setAttribute('aria-label', 'Time of the session');
slider.addEventListener('input', () => { play(false); seek(Number(slider.value)); });
const button = Object.assign(make('button', 'Play'), { id: 'play', type: 'button' });
button.addEventListener('click', () => play(!playing));
const player = make('p', undefined, 'player');
player.append(button, slider);
document.querySelector('header').append(player);
document.title = document.querySelector('h1').textContent = 'A recorded session';
setText('link', session.revealed ? 'recorded, with private contents' : 'recorded, private contents masked');
document.querySelector('main').className = 'alone';
for (const part of ['.hands', '[aria-labelledby="checkin-title"]']) document.querySelector(part).remove();
for (const id of ['checkin-state', 'checkin-bar', 'people', 'directed']) { // drawn by the live page only
  const gone = make('i');
  gone.id = id;
  gone.hidden = true;
  document.body.append(gone);
}
seek(endMs);
