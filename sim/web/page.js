'use strict';
// The page of the virtual switch. The same file is its worker: one stream of events serves all pages of a browser, which
// opens few connections to a server at a time.

function eventFeed() {
  const pages = new Map(), known = {};  // pages, and whether they want requests; all parts but requests
  let source, asked, retry;
  const wants = () => [...pages.values()].includes(true);
  const tell = (news) => pages.forEach((_, page) => page.postMessage(news));
  function connect() {
    clearTimeout(retry);
    source?.close();
    source = new EventSource('/api/events' + ((asked = wants()) ? '?requests' : ''));
    source.onopen = () => tell({live: known.live = true});
    source.onmessage = ({data}) => {
      const {requests, ...parts} = JSON.parse(data);
      Object.assign(known, parts);
      tell({...parts, requests});
    };
    source.onerror = () => {
      tell({live: known.live = false});
      if (source.readyState === EventSource.CLOSED) retry = setTimeout(connect, 2000);
    };
  }
  return (page) => page.onmessage = ({data}) => {
    if (!pages.has(page)) page.postMessage(known);
    data === 'ends' ? pages.delete(page) : pages.set(page, data.requests);
    if (!source || wants() !== asked) connect();
  };
}

function page() {
  const $ = (selector) => document.querySelector(selector);
  const state = {};  // the parts as the server tells them
  let selected, modules = [], lines = [];

  function element(tag, properties = {}, ...children) {
    const made = Object.assign(document.createElement(tag), properties);
    return made.append(...children), made;
  }
  const button = (text, onclick, properties) => element('button', {type: 'button', onclick, ...properties}, text);
  const table = (selector, rows) => $(selector + ' tbody').replaceChildren(
    ...rows.map((row) => element('tr', {}, ...row.map((cell) => element('td', {}, cell)))));
  const pairs = (object) => Object.entries(object).map(([name, value]) => element('div', {},
    element('dt', {}, name.replaceAll('_', ' ')), element('dd', {}, value instanceof Node ? value : String(value) || '-')));

  // What was on the page in the same place keeps the focus.
  function put(place, ...children) {
    const name = (one) => one.value + one.name + one.textContent, held = document.activeElement;
    const focused = place.contains(held) && name(held);
    place.replaceChildren(...children);
    if (focused) [...place.querySelectorAll('input, button')].find((one) => name(one) === focused)?.focus();
  }

  async function ask(path, fields) {
    const answer = await fetch('/api/' + path, fields && {method: 'POST', body: JSON.stringify(fields)});
    const document = await answer.json();
    return answer.ok ? document : Promise.reject(new Error(document.error));
  }
  async function act(action, fields = {}) {
    Object.assign($('#said'), await ask(action.replace(' ', '/'), fields).then(({done}) => ({textContent: done, className: ''}),
      ({message}) => ({textContent: message, className: 'bad'})));
  }

  // Some values, one of which holds: the shown one, until another is chosen.
  function choice(legend, values, chosen, shown) {
    const inputs = values.map(([value]) => element('input', {type: 'radio', name: legend, value, onchange: () => chosen(value)}));
    const made = element('fieldset', {className: 'choice'}, element('legend', {}, legend),
      ...values.map(([value, text], i) => element('label', {}, inputs[i], element('span', {}, text ?? value))));
    made.show = (now) => inputs.forEach((input) => input.checked = input.value === String(now));
    made.show(shown);
    return made;
  }

  // ---- the front panel: the server's drawing, changed in place so that what blinks goes on; and a button on each part

  function showPicture() {
    const shapes = [...new DOMParser().parseFromString(state.picture, 'image/svg+xml').documentElement.children];
    if (!$('#picture svg')) $('#picture').innerHTML = state.picture;
    const svg = $('#picture svg'), {x, y, width, height} = svg.viewBox.baseVal;
    while (svg.children.length > shapes.length) svg.lastElementChild.remove();
    shapes.forEach((shape, i) => {
      if (!svg.children[i]) svg.append(shape);
      else if (!svg.children[i].isEqualNode(shape)) svg.children[i].replaceWith(shape);
    });
    for (const part of parts) {
      const drawn = document.getElementById(part.id);
      part.button.hidden = !drawn;
      if (drawn) Object.assign(part.button.style, {
        left: (drawn.x.baseVal.value + part.left - x) / width * 100 + '%', width: part.width / width * 100 + '%',
        top: (drawn.y.baseVal.value + part.top - y) / height * 100 + '%', height: part.height / height * 100 + '%'});
    }
  }

  const numbers = (first, count) => [...Array(count)].map((_, i) => first + i);
  const parts = [
    ...numbers(1, 3).map((number) => ({kind: 'slot', number, id: 'slot' + number, left: 0, top: -22, width: 180, height: 122})),
    ...numbers(0, 28).map((number) => ({kind: 'port', number, id: 'port' + number, left: 0, top: 0, width: 30, height: 20})),
    ...numbers(1, 2).map((number) => ({kind: 'supply', number, id: 'power' + number, left: -62, top: -9, width: 74, height: 18}))];
  for (const part of parts)
    part.button = $('#front').appendChild(button('', () => showParts(selected = part), {className: 'place ' + part.kind}));

  const cageOf = (port) => state.board.cages.find((cage) => cage.port === port);
  const supplyText = ({type, good}) => type === 'none' ? 'pulled' : type.toUpperCase() + (good ? '' : ', failed');
  function labelOf({kind, number}) {
    const {slots, supplies} = state.board, cage = kind === 'port' && cageOf(number);
    if (kind !== 'port') return kind === 'slot' ? `Slot ${number}: ${slots[number - 1].board}`
      : `Supply ${number}: ${supplyText(supplies[number - 1])}`;
    if (!cage?.module) return `Port ${number}: ${cage ? 'empty' : 'copper'}`;
    const signs = [cage.module, cage.tx_fault && 'fault', cage.tx_disable && 'transmitter off', !cage.loss_of_signal ? 'signal' : 'no signal'];
    return `Port ${number}: ${signs.filter(Boolean).join(', ')}`;
  }

  // ---- what is selected

  function showParts() {
    for (const part of parts) {
      part.button.ariaLabel = part.button.title = part.button.hidden ? '' : labelOf(part);
      part.button.ariaPressed = String(part === selected);
    }
    if (!selected) return;
    const {kind, number} = selected, cage = kind === 'port' ? cageOf(number) : null;
    const shown = JSON.stringify([selected.id, cage, state.board.links, kind !== 'port' && labelOf(selected), modules.length]);
    if ($('#selection').dataset.shown === shown) return;
    $('#selection').dataset.shown = shown;
    const controls = {slot: slotControls, supply: supplyControls, port: () => cageControls(cage)}[kind](number);
    put($('#selection'), element('h2', {}, labelOf(selected)), ...controls);
    showModule(cage);
  }

  const slotControls = (slot) => [choice('Daughter board', [['none'], ['copper'], ['sfp']],
    (board) => act('fit', {slot, board}), state.board.slots[slot - 1].board)];
  function supplyControls(supply) {
    const {type, good} = state.board.supplies[supply - 1], states = [['ac', 'AC'], ['dc', 'DC'], ['failed'], ['none', 'pulled']];
    return [choice('State', states, (to) => act('set supply', {supply, state: to}), good || type === 'none' ? type : 'failed')];
  }

  function cageControls(cage) {
    if (!cage) return [element('p', {className: 'hint'}, 'A port of a copper board: nothing to plug here.')];
    const {port} = cage, link = state.board.links.find((one) => one.port === port);
    const plugs = modules.map(({module, part_number, rate_mbd}) => button(module, () => act('plug', {port, module}),
      {title: `${part_number}, ${rate_mbd} MBd`, disabled: module === cage.module}));
    const catalogue = [element('h3', {}, 'Plug a module'), element('div', {className: 'row', role: 'group', ariaLabel: 'Modules'}, ...plugs)];
    if (!cage.module) return catalogue;
    const speed = link && String(link.speed || 'down'), duplex = link?.full_duplex ? 'full' : 'half';
    const links = !link ? [] : [
      choice('Link partner', [['down'], ['10'], ['100'], ['1000']], (to) => act('set link', {port, speed: to, duplex}), speed),
      choice('Duplex', [['half'], ['full']], (to) => act('set link', {port, speed, duplex: to}), duplex)];
    return [button('Pull it out', () => act('unplug', {port}), {className: 'main'}),
      choice('Light', [[0, 'there'], [1, 'cut']], (value) => act('set loss-of-signal', {port, value}), cage.loss_of_signal),
      choice('Transmitter', [[0, 'good'], [1, 'fault']], (value) => act('set tx-fault', {port, value}), cage.tx_fault),
      ...links, ...catalogue];
  }

  async function showModule(cage) {
    const of = selected, decoded = cage?.module && await ask('module?port=' + cage.port).catch(() => null);
    if (of !== selected) return;
    if (!decoded) return put($('#view-module'), element('p', {className: 'hint'}, 'Choose a cage with a module on the front panel.'));
    const bytes = decoded.page.match(/../g), text = (byte) => String.fromCharCode(parseInt(byte, 16)).replace(/[^ -~]/, '.');
    const dump = numbers(0, 16).map((i) => bytes.slice(16 * i, 16 * i + 16)).map((row, i) =>
      `${(16 * i).toString(16).padStart(2, '0')}  ${row.join(' ')}  ${row.map(text).join('')}`);
    put($('#view-module'), element('h3', {}, `Port ${cage.port}: ${cage.module}`),
      element('dl', {className: 'decoded'}, ...pairs(decoded.decoded)),
      element('pre', {tabIndex: 0, ariaLabel: 'Bytes of the page'}, dump.join('\n')));
  }

  // ---- surroundings and readings

  const presence = [['present'], ['absent']], is = (flag) => flag ? 'present' : 'absent';
  const world = [  // legend, values, command, its field, what holds
    ['Temperature sensor', presence, 'set lm75', 'state', ({i2c}) => is(i2c.sensor_present)],
    ['Clock chip', presence, 'set rtc', 'state', ({i2c}) => is(i2c.clock_present)],
    ['I2C bus', [[0, 'free'], [1, 'held']], 'set busy', 'value', ({i2c}) => i2c.busy],
    ['Reset key', [[0, 'released'], [1, 'pressed']], 'set reset-key', 'value', ({gpio}) => gpio.reset_key],
  ].map(([legend, values, action, field, holds]) => ({control: choice(legend, values, (value) => act(action, {[field]: value})), holds}));
  $('#world .choices').append(...world.map(({control}) => control));
  $('#host-time').onclick = () => act('set clock', {time: 'host'});
  $('#reset').onclick = () => confirm('Put the board back to what it was when made? Its flash stays.') && act('reset');
  $('#erase').onclick = () => confirm('Erase the whole flash and its counters?') && act('flash erase');

  // While it is dragged one request is made at a time, and the last one brings the last value.
  let sending = false;
  $('#heat').oninput = async () => {
    if (sending) return;
    sending = true;
    for (let sent; sent !== $('#heat').value;) await act('set temperature', {celsius: sent = $('#heat').value});
    sending = false;
  };

  let ahead = 0, shownClock;  // of the board's clock to ours
  function showClock() {
    const [day, time] = new Date(Date.now() + ahead).toISOString().split(/[T.]/);
    if (state.board) $('#clock').textContent = state.board.i2c.clock_present ? day + ' ' + time : 'no chip';
  }
  setInterval(() => document.hidden || showClock(), 1000);

  function showWorld() {
    const {panel: {relay, ...leds}, supplies, i2c, gpio, faults} = state.board;
    const celsius = i2c.temperature.toFixed(1) + ' °C';
    if (shownClock !== i2c.clock) ahead = Date.parse((shownClock = i2c.clock) + 'Z') - Date.now();
    world.forEach(({control, holds}) => control.show(holds(state.board)));
    if (!sending) $('#heat').value = i2c.temperature;
    $('#degrees').value = celsius;
    $('#leds').replaceChildren(...Object.entries(leds).map(([name, value]) =>
      element('li', {id: 'led-' + name}, `${name.replace('_', ' ')}: ${['off', 'on', 'blinking'][value] ?? value}`)));
    $('#readings').replaceChildren(...pairs({
      Temperature: i2c.sensor_present ? celsius : 'no sensor', Clock: element('span', {id: 'clock'}), Relay: relay ? 'closed' : 'open',
      Supply_1: supplyText(supplies[0]), Supply_2: supplyText(supplies[1]), Watchdog: gpio.watchdog_enabled ? 'enabled' : 'off',
      I2C_bus: i2c.busy ? 'held' : 'free', Faults: faults.length || 'none'}));
    showClock();
    $('#fault-count').textContent = faults.length || '';
    $('#heal').disabled = !faults.length;
    table('#rules', faults.map(({fault, target, result, skip, count, hits}) =>
      [fault, target, result, skip, count ?? 'any', hits, button('Clear', () => act('heal', {fault}), {ariaLabel: `Clear fault ${fault}`})]));
  }

  // ---- views

  const tabs = [...document.querySelectorAll('[role=tab]')], viewOf = (tab) => document.getElementById(tab.getAttribute('aria-controls'));
  function open(tab) {
    for (const each of tabs) {
      Object.assign(each, {ariaSelected: String(each === tab), tabIndex: each === tab ? 0 : -1});
      viewOf(each).hidden = each !== tab;
    }
    subscribe();
  }
  tabs.forEach((tab, i) => Object.assign(tab, {onclick: () => open(tab), onkeydown: ({key}) => {
    const to = {ArrowRight: (i + 1) % tabs.length, ArrowLeft: i - 1, Home: 0, End: -1}[key];
    if (to !== undefined) tabs.at(to).focus(), open(tabs.at(to));
  }}));

  // Requests: the last 2000 are kept, and those of the chosen nodes shown, 500 at most.
  const nodeOf = (line) => line.match(/^(gpio|i2c|flash) /)?.[1] ?? 'other';
  const isShown = (line) => $(`#nodes [value=${nodeOf(line)}]`).checked && line.includes($('#filter').value);
  function lineElement(line) {
    const [, request, result] = line.match(/^(.*?)( = [^{}]*)?$/), failed = / = (-1|0xfff[af])/.test(line);
    return element('li', {className: nodeOf(line)}, request, element('b', {className: failed ? 'bad' : ''}, result ?? ''));
  }
  function showLines(added) {
    const list = $('#lines'), follows = list.scrollHeight - list.scrollTop - list.clientHeight < 40;
    if (!added) list.replaceChildren();
    list.append(...(added ?? lines).filter(isShown).slice(-500).map(lineElement));
    while (list.children.length > 500) list.firstChild.remove();
    if (follows || !added) list.scrollTop = list.scrollHeight;
  }
  $('#nodes').onchange = $('#filter').oninput = () => showLines();
  $('#clear').onclick = () => showLines(void (lines = []));
  $('#view-requests form').onsubmit = () => false;
  $('#pause').onclick = ({target}) => subscribe(target.ariaPressed = String(target.ariaPressed !== 'true'));

  // Flash
  const cells = numbers(0, 512).map((i) => element('i', {className: 'cell', onmouseenter: () => showSector(i)}));
  $('#map').append(...cells);
  const sectors = (bytes) => bytes / 0x10000, percent = (pages, of) => Math.ceil(pages / of / 2.56) + ' %';
  function showSector(i) {
    const {used, erases} = state.sectors, {region} = state.regions.findLast(({start}) => sectors(start) <= i);
    $('#sector').textContent = `Sector ${i} at 0x${(i * 0x10000).toString(16).padStart(8, '0')}, ${region}: ` +
      `${used[i] ? percent(used[i], 1) + ' used' : 'erased'}; erased ${erases[i]} times`;
  }
  function showFlash() {
    const {used, erases} = state.sectors, starts = new Set(state.regions.map(({start}) => sectors(start)));
    cells.forEach((cell, i) => {
      cell.className = `cell${used[i] === 256 ? ' used' : used[i] ? ' part' : ''}${erases[i] ? ' worn' : ''}${starts.has(i) ? ' start' : ''}`;
      cell.style.setProperty('--wear', Math.min(1, 0.15 + Math.log10(erases[i] || 1) / 3));
    });
    table('#regions', state.regions.map(({region, start, size, erases: erased, programs}) => {
      const first = sectors(start), count = sectors(size), pages = used.slice(first, first + count).reduce((sum, one) => sum + one);
      return [region, '0x' + start.toString(16).padStart(8, '0'), count, percent(pages, count), erased, programs];
    }));
  }

  // A form for each command, from the server's table of them.
  function formOf({action, what, fields}) {
    const inputs = fields.map(({field, optional, values}) => element('label', {}, field + ' ', !values.length
      ? element('input', {name: field, size: 9})
      : element('select', {name: field}, ...(optional ? [''] : []).concat(values).map((one) => element('option', {}, one)))));
    const form = element('form', {className: 'row'}, element('b', {}, action), ...inputs, button('Do', null, {type: 'submit'}),
      element('span', {className: 'hint'}, what));
    form.onsubmit = () => act(action, Object.fromEntries([...new FormData(form)].filter(([, value]) => value !== ''))) && false;
    return form;
  }
  $('#heal').onclick = () => act('heal');

  // ---- news, shown once a frame

  const shows = {
    board: () => { $('#name').textContent = document.title = state.board.board; showWorld(); showParts(); },
    picture: () => { showPicture(); if (state.board) showParts(); },
    sectors: showFlash, regions: showFlash,
    gone: () => { $('#gone').hidden = !($('#gone').textContent = state.gone ?? ''); },
    live: () => Object.assign($('#live'), state.live ? {textContent: 'live', className: 'good'}
      : {textContent: 'no connection: is zelsim serve running?', className: 'bad'}),
  };
  let fresh = new Set(), added = [];
  function show() {
    for (const part of fresh) shows[part]?.();
    if (added.length) showLines(added);
    fresh = new Set(), added = [];
  }
  function take({requests = [], ...news}) {
    if (!fresh.size && !added.length) requestAnimationFrame(show);
    lines = lines.concat(requests).slice(-2000);
    added = added.concat(requests).slice(-2000);
    Object.assign(state, news);
    Object.keys(news).forEach((part) => fresh.add(part));
  }

  const channel = new MessageChannel(), feed = window.SharedWorker ? new SharedWorker('/page.js').port : channel.port1;
  if (!window.SharedWorker) eventFeed()(channel.port2);
  const subscribe = () => feed.postMessage({requests: !$('#view-requests').hidden && $('#pause').ariaPressed !== 'true'});
  feed.onmessage = ({data}) => take(data);
  addEventListener('pagehide', () => feed.postMessage('ends'));
  addEventListener('pageshow', ({persisted}) => persisted && location.reload());
  open(tabs[0]);
  showModule();
  ask('modules').then((catalogue) => modules = catalogue.modules);
  ask('actions').then(({actions}) => {
    $('#fault-form').append(formOf(actions.find(({action}) => action === 'fail')));
    $('#view-commands').append(...actions.map(formOf));
  });
}

if (typeof document !== 'undefined') page();
else onconnect = ((serve) => ({ports: [port]}) => serve(port))(eventFeed());
