// The simulator behind the page, where the demo server serves it.
const patience = 30000; // Milliseconds; a swap takes its time.

// The plain case first, the odd ones last; what is not listed here stands in between.
const first = ['mustermann', 'familienversichertes-kind', 'ein-name'];
const last = ['sonderzeichen', 'bankkarte', 'beschaedigt', 'kurzer-rest'];
const rank = (card) => (first.includes(card) ? first.indexOf(card) - first.length : last.indexOf(card) + 1);

/** What the demo server says, after it has carried out a command if there is one. Rejects without one. */
export async function askSimulator(command) {
  const signal = AbortSignal.timeout(patience);
  const request = command ? { method: 'POST', body: JSON.stringify(command), signal } : { signal };
  const response = await fetch('/simulator', request);
  if (!response.headers.get('Content-Type')?.startsWith('application/json')) throw new Error('not the demo server');
  const { reply, ...simulator } = await response.json();
  simulator.cards.sort((one, other) => rank(one) - rank(other));
  return { simulator, refusal: reply === 'ok' ? undefined : reply.replace(/^error: /, '') };
}
