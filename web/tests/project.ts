// What a strict TypeScript project writes; each line with "expect-error" has to be one.
import { ActionError, KV500, KV500Error, parseRepeated, stateOf } from '@kv500/client';
import type { CardEvent, Failure, Patient, ReadAnswer } from '@kv500/client';
import { FakeService } from '@kv500/fake';

const service = await FakeService.start();
const reader = new KV500({ address: service.address, timeout: 5000 });
const name = ({ daten }: Pick<Patient, 'daten'>): string =>
  daten.PersoenlicheVersicherungsdaten?.Versicherter?.Person?.Nachname ?? 'no name';
// @ts-expect-error Every element can be absent.
const surely = ({ daten }: Patient): string => daten.PersoenlicheVersicherungsdaten.Versicherter;

const idle: ReadAnswer = await reader.read();
if (idle.status === 'undefined') idle.message satisfies 'USB_device_not_found';
// @ts-expect-error There is no such status.
if (idle.status === 'RUNNING') throw idle;

service.insert({ PersoenlicheVersicherungsdaten: { Versicherter: { Person: { Nachname: 'Muster', Titel: ['Dr.', 'Prof.'] } } } });
const { daten } = await reader.read();
const listed = await new KV500({ address: service.address, repeated: true }).read();
const holder = [listed.daten?.PersoenlicheVersicherungsdaten?.Versicherter ?? []].flat()[0];
const titles: string | string[] | undefined = [holder?.Person ?? []].flat()[0]?.Titel;
// @ts-expect-error A title can be several.
const title: string | undefined = [holder?.Person ?? []].flat()[0]?.Titel;

const explain = (failure: Failure): string => {
  switch (failure.code) {
    case 'origin-not-allowed': return failure.origin;
    case 'foreign-answer': return failure.text;
    case 'action-failed': return failure.answer.action;
    // @ts-expect-error There is no such code.
    case 'no-such-code': return '';
    default: return failure.message;
  }
};
const told = (event: CardEvent): string => {
  if (event.type === 'failed') return explain(event.error);
  // @ts-expect-error Without an answer.
  if (event.type === 'hidden') return event.status;
  return event.type;
};
const first = new Promise<string>((resolve) => {
  const stop = reader.onPatient({
    read: (patient) => { stop(); resolve(`${name(patient)} ${patient.readAt instanceof Date}`); },
    failed: (failure) => resolve(explain(failure)),
    gone: (reason) => reason satisfies string,
    event: told,
  }, { interval: 250, signal: AbortSignal.timeout(5000) });
});
const patient = await first;
service.insert('damaged');
const failed = await reader.read().then(() => 'read', (error: unknown) =>
  error instanceof ActionError && error instanceof KV500Error ? `${error.name} ${error.code}` : String(error));
const { reader: there } = stateOf(await reader.status());
await service.stop();
console.log([daten && name({ daten }), titles, patient, failed, there, parseRepeated('{"a":1,"a":2}').a].join('; '));
