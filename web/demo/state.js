// All that the page knows, and what follows from it. Only facts are kept; every text is made of them
// anew each time it is shown, so that none can outlive its cause.

export const initialState = {
  language: 'en',
  address: '',
  service: 'asking', // "asking", "up", or the failure to reach it.
  device: { reader: false, card: false, serialNumber: '' },
  card: { phase: 'none' }, // none, reading { since }, read { patient }, failed { error }.
  copied: false, // The insured person's number.
  calls: [], // The last ones first: { action, at, took, status or code }.
  polls: { count: 0, took: 0 },
  simulator: undefined, // What the demo server says of it.
  acting: false, // It carries out a button.
  refusal: undefined, // Why it did not carry out the last one.
};

/**
 * What there is to be said, from the outside in: a card counts only while it is in a reader, and a
 * reader only while the service answers. One of asking, waiting (for the person at the browser),
 * unreachable, no-reader, no-card, reading, read, failed.
 */
export function situationOf({ service, device, card }) {
  if (service === 'asking') return 'asking';
  if (service !== 'up') return service.code === 'permission-not-asked' ? 'waiting' : 'unreachable';
  if (!device.reader) return 'no-reader';
  if (!device.card) return 'no-card';
  return card.phase === 'none' ? 'reading' : card.phase;
}

/** The failure that is to be explained, if there is one. */
export function failureOf(state) {
  const situation = situationOf(state);
  if (situation === 'waiting' || situation === 'unreachable') return state.service;
  return situation === 'failed' ? state.card.error : undefined;
}

/** The three parts of the strip: [what it says, how that is]; how is good, bad, busy or unknown. */
export function stripOf(state, t) {
  const { device } = state;
  const unknown = [t.unknown, 'unknown'];
  switch (situationOf(state)) {
    case 'asking':
      return [[t.asking, 'busy'], unknown, unknown];
    case 'waiting':
      return [[t.waiting, 'busy'], unknown, unknown];
    case 'unreachable':
      return [[t.serviceDown, 'bad'], unknown, unknown];
    case 'no-reader':
      return [[t.serviceUp, 'good'], [t.readerOut, 'bad'], [t.cardOut, 'unknown']];
    case 'no-card':
      return [[t.serviceUp, 'good'], [t.readerIn(device.serialNumber), 'good'], [t.cardOut, 'unknown']];
    default:
      return [[t.serviceUp, 'good'], [t.readerIn(device.serialNumber), 'good'], [t.cardIn, 'good']];
  }
}

/** What was answered last, as far as it still holds. */
export function rawOf({ service, device, card }) {
  if (service !== 'up' || !device.card) return '';
  const { patient, error } = card;
  const answer = patient?.answer ?? error?.answer;
  return answer ? JSON.stringify(answer, null, 2) : error?.text ?? '';
}

/** Can a button of the simulator's do anything now? */
export function canAct({ simulator, acting }, action, card) {
  if (acting || !simulator) return false;
  const { running, reader } = simulator;
  switch (action) {
    case 'start':
      return !running;
    case 'stop':
      return running;
    case 'plug':
      return running && !reader;
    case 'unplug':
      return running && reader;
    case 'remove':
      return running && simulator.card !== null;
    default:
      return running && reader && simulator.card !== card;
  }
}
