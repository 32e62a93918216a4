// The page: packets from a WebSocket into the decoder, its picture onto the canvas.
'use strict';

const element = (id) => document.getElementById(id);
const canvas = element('picture');
const context = canvas.getContext('2d', {alpha: false});

let decoder = null;  // the module; null while there is none
let socket = null;
let lossChosen = false;  // by hand; until then it is what the server was started with
let changed = false;  // something came since the picture was drawn

function say(text) {
  element('figures').textContent = text;
}

function take(message) {
  const bytes = new Uint8Array(message);
  const room = decoder._viewRoom(bytes.length);
  decoder.HEAPU8.set(bytes, room);
  decoder._viewTake();
  changed = true;
}

function answer() {
  const count = decoder._viewToSend();
  for (let i = 0; i < count; ++i) {
    const at = decoder._viewMessage(i);
    socket.send(decoder.HEAPU8.slice(at, at + decoder._viewMessageSize(i)));
  }
}

function draw() {
  const width = decoder._viewWidth(), height = decoder._viewHeight();
  if (width === 0) return;
  if (canvas.width !== width || canvas.height !== height) {
    canvas.width = width;
    canvas.height = height;
  }
  const at = decoder._viewPicture(element('tint').checked ? 1 : 0);
  // The decoder's memory as it lies; it moves when it grows, so the view is made anew.
  const pixels = new Uint8ClampedArray(decoder.HEAPU8.buffer, at, width * height * 4);
  context.putImageData(new ImageData(pixels, width, height), 0, 0);
}

// Whatever a module may throw ends it; a new one begins from nothing.
function guarded(work) {
  try {
    work();
  } catch (error) {
    console.error(error);
    stop('the decoder stopped: ' + error);
  }
}

function stop(why) {
  decoder = null;
  if (socket !== null) socket.close();
  say(why + '\nconnecting again');
}

async function connect() {
  socket = null;
  try {
    decoder = await createDecoder();
  } catch (error) {
    say('no decoder: ' + error);
    return;
  }
  const address = new URL('socket', location.href);
  address.protocol = 'ws:';
  socket = new WebSocket(address, 'qrx');
  socket.binaryType = 'arraybuffer';
  socket.onmessage = (event) => {
    if (typeof event.data === 'string') hearLoss(event.data);
    else if (decoder !== null) guarded(() => take(event.data));
  };
  socket.onclose = (event) => {
    decoder = null;
    say((event.reason || 'no server') + '\nconnecting again');
    setTimeout(connect, 1000);
  };
}

function isOpen() {
  return decoder !== null && socket !== null && socket.readyState === WebSocket.OPEN;
}

function tellLoss() {
  lossChosen = true;
  element('share').value = element('loss').value + '%';
  if (isOpen()) socket.send('loss ' + element('loss').value / 100);
}

function hearLoss(text) {
  if (lossChosen) return tellLoss();
  element('loss').value = Number(text.replace('loss ', '')) * 100;
  element('share').value = element('loss').value + '%';
}

// The next frame as soon as the last one is there.
function nextJpeg() {
  if (element('frames').checked) element('jpeg').src = 'frame.jpg?' + performance.now();
}

function choose() {
  const jpegs = element('frames').checked;
  element('jpeg').hidden = !jpegs;
  canvas.hidden = jpegs;
  element('figures').hidden = jpegs || !element('overlay').checked;
  nextJpeg();
  changed = true;
}

element('jpeg').onload = () => requestAnimationFrame(nextJpeg);
element('jpeg').onerror = () => setTimeout(nextJpeg, 1000);
element('loss').oninput = tellLoss;
for (const id of ['tint', 'overlay', 'frames']) element(id).onchange = choose;

setInterval(() => { if (isOpen()) guarded(answer); }, 20);
setInterval(() => {
  if (isOpen()) guarded(() => say(decoder.UTF8ToString(decoder._viewWords())));
}, 250);
(function show() {
  if (changed && isOpen() && !canvas.hidden) {
    changed = false;
    guarded(draw);
  }
  requestAnimationFrame(show);
})();
choose();
connect();
