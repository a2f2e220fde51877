/**
 * Client of the card reader service on this workstation.
 *
 *     const stop = new KV500().onPatient({
 *       read: ({ daten }) => show(daten.PersoenlicheVersicherungsdaten?.Versicherter?.Person),
 *       gone: () => clear(),
 *       failed: (error) => say(error.message),
 *     });
 *
 * A call resolves with the answer as a plain object or rejects with a KV500Error: its `code` is for
 * the page, its `message` for a person.
 */

/* ---- What stands on a card. Every element can be absent; every value is a text. ---- */

/** An element's text; with `repeated` an array where the element occurs several times. */
export type Text<R extends boolean> = R extends true ? string | string[] : string;
/** An element with children; with `repeated` an array where it occurs several times. */
export type Part<T, R extends boolean> = R extends true ? T | T[] : T;

export interface Adresse<R extends boolean = false> {
  Strasse?: Text<R>;
  Hausnummer?: Text<R>;
  Anschriftenzusatz?: Text<R>;
  Postfach?: Text<R>;
  Postleitzahl?: Text<R>;
  Ort?: Text<R>;
  Land?: Part<{ Wohnsitzlaendercode?: Text<R> }, R>;
}

export interface Person<R extends boolean = false> {
  /** YYYYMMDD; unknown parts can be zeros. */
  Geburtsdatum?: Text<R>;
  Vorname?: Text<R>;
  Nachname?: Text<R>;
  /** M, W, X or D. */
  Geschlecht?: Text<R>;
  Titel?: Text<R>;
  Vorsatzwort?: Text<R>;
  Namenszusatz?: Text<R>;
  StrassenAdresse?: Part<Adresse<R>, R>;
  PostfachAdresse?: Part<Adresse<R>, R>;
}

export interface Kostentraeger<R extends boolean = false> {
  Kostentraegerkennung?: Text<R>;
  Kostentraegerlaendercode?: Text<R>;
  Name?: Text<R>;
  AbrechnenderKostentraeger?: Part<Kostentraeger<R>, R>;
}

export interface Versicherung<R extends boolean = false> {
  Versicherungsschutz?: Part<
    {
      /** YYYYMMDD */
      Beginn?: Text<R>;
      /** YYYYMMDD */
      Ende?: Text<R>;
      Kostentraeger?: Part<Kostentraeger<R>, R>;
    },
    R
  >;
  Zusatzinfos?: Part<
    {
      ZusatzinfosGKV?: Part<
        {
          /** 1 member, 3 family member, 5 pensioner. */
          Versichertenart?: Text<R>;
          Zusatzinfos_Abrechnung_GKV?: Part<{ WOP?: Text<R> }, R>;
        },
        R
      >;
    },
    R
  >;
}

export interface Daten<R extends boolean = false> {
  AllgemeineVersicherungsdaten?: { Versicherter?: Part<Versicherung<R>, R> };
  PersoenlicheVersicherungsdaten?: {
    Versicherter?: Part<{ Versicherten_ID?: Text<R>; Person?: Part<Person<R>, R> }, R>;
  };
}

/* ---- Answers ---- */

/** The attached reader. */
export interface DeviceMessage {
  deviceStatus: 'KV500_PRESENT';
  ApiVersion: string;
  /** The reader's, not the card's. */
  SerialNumber: string;
  CardPresence: 'OK_Card_Presence' | 'NO_Card_found';
}

export interface StatusAnswer {
  action: 'status';
  status: 'RUNNING';
  message: 'USB_device_not_found' | DeviceMessage;
  serv_version: number;
}

/** A card that is no health card has a DeviceMessage and no `daten`. */
export type ReadAnswer<R extends boolean = false> = { action: 'read'; serv_version: number } & (
  | { status: 'OK'; message: DeviceMessage; daten: Daten<R> | null }
  | { status: 'OK'; message: 'NO_Card_found'; daten: null }
  | { status: 'undefined'; message: 'USB_device_not_found'; daten: null }
);

export type CloseAnswer = { action: 'close'; serv_version: number } & (
  | { status: 'OK'; message: 'CLOSED' }
  | { status: 'NO_DEVICE'; message: 'called close command' }
);

/** The answer of which an ActionError tells. */
export interface ErrorAnswer {
  action: 'read' | 'close';
  status: 'ERROR';
  message: string | DeviceMessage;
  serv_version: number;
  daten?: null;
}

/** What an answer says of reader and card. */
export interface State {
  reader: boolean;
  card: boolean;
  /** The reader's; empty without a reader. */
  serialNumber: string;
}
export function stateOf(answer: { message: unknown }): State;

/** JSON.parse, but members of one name become an array, where JSON.parse keeps the last alone. */
export function parseRepeated(text: string): any;

/* ---- The client ---- */

export interface Options<R extends boolean = false> {
  /**
   * Where the service listens, "http://127.0.0.1:5724" unless told otherwise. Write 127.0.0.1:
   * "localhost" may mean ::1, where nobody listens.
   */
  address?: string;
  /** Milliseconds for one call, its further tries included; 30000 unless told otherwise. */
  timeout?: number;
  /** Further tries when a connection ends without an answer; 3 unless told otherwise. */
  retries?: number;
  /** Milliseconds before the first further try, doubled each time; 250 unless told otherwise. */
  pause?: number;
  /** Elements that occur several times become an array; otherwise the last one stands. */
  repeated?: R;
}

export interface CallOptions {
  /** Ends the call with an AbortedError. */
  signal?: AbortSignal;
}

export interface WatchOptions {
  /** Milliseconds between two polls, 500 unless told otherwise, at least 250. */
  interval?: number;
  /** Milliseconds for which a hidden page goes on as before; 0 unless told otherwise. */
  hiddenFor?: number;
  /** Stops as the returned function does. */
  signal?: AbortSignal;
}

/**
 * `ready`: the service answers, for the first time or again. `failed`: it does not; told once for
 * each kind of failure. `hidden`: the page is hidden, or the computer slept, and nobody looked at the
 * reader. After these three everything that is there is told anew.
 */
export type CardEvent =
  | { type: 'ready' | 'reader-in' | 'reader-out' | 'card-in' | 'card-out'; status: StatusAnswer }
  | { type: 'failed'; error: Failure }
  | { type: 'hidden' };

export interface Patient<R extends boolean = false> {
  daten: Daten<R>;
  /** When the answer came. */
  readAt: Date;
  answer: ReadAnswer<R>;
}

export type GoneReason =
  | 'card-out'
  | 'reader-out'
  | 'service-out'
  | 'service-back'
  | 'hidden'
  | 'stopped';

/**
 * `reading` comes when reading begins; then `read`, `failed` or nothing more. After each of these
 * three, before anything else comes, `gone` says that it no longer holds: clear what is shown.
 */
export interface PatientHandlers<R extends boolean = false> {
  reading?: () => void;
  read: (patient: Patient<R>) => void;
  /** The card can't be read or is no health card, or the service can't be reached. */
  failed: (error: Failure) => void;
  /** `service-back`: a failure to reach the service is over. */
  gone: (reason: GoneReason) => void;
  /** What onCard tells, from the same polls. */
  event?: (event: CardEvent) => void;
}

export class KV500<R extends boolean = false> {
  constructor(options?: Options<R>);

  /** State of reader and card. */
  status(options?: CallOptions): Promise<StatusAnswer>;
  /** Reads the card in the reader, anew each time. */
  read(options?: CallOptions): Promise<ReadAnswer<R>>;
  /** Ends the card connection; the card stays, and the next request connects again. */
  close(options?: CallOptions): Promise<CloseAnswer>;

  /**
   * Tells changes of reader and card. Polls `status`: a request each interval, never two at once,
   * none while the page is hidden. What comes and goes between two polls is not seen.
   * @returns Stops; no callback comes after it.
   */
  onCard(callback: (event: CardEvent) => void, options?: WatchOptions): () => void;

  /**
   * A patient's card, from in to out: reads each card that is put in and hands over its data, and
   * tells when they no longer hold. Reading is given up when the card goes. A card that failed is
   * tried again when it is put in anew.
   * @returns Stops, with a last `gone` if something was told.
   */
  onPatient(handlers: PatientHandlers<R>, options?: WatchOptions): () => void;
}

/* ---- Failures ---- */

/** What a call rejects with: one of the classes below. `cause` is the failure underneath. */
export class KV500Error extends Error {
  constructor(code: ErrorCode, message: string, members?: object, cause?: unknown);
  readonly code: ErrorCode;
}

/** Nothing answers at the address. */
export class ServiceNotRunningError extends KV500Error {
  constructor(address: string, cause?: unknown);
  readonly code: 'not-running';
  readonly address: string;
}

/** Somebody denied this page the local machine. */
export class PermissionDeniedError extends KV500Error {
  constructor();
  readonly code: 'permission-denied';
}

/** The browser asks the person, and the question is open. */
export class PermissionNotAskedError extends KV500Error {
  constructor();
  readonly code: 'permission-not-asked';
}

/** The page came by plain HTTP, for which the browser does not even ask. */
export class InsecurePageError extends KV500Error {
  constructor(cause?: unknown);
  readonly code: 'insecure-page';
}

/** The service answers, but its AllowOrigin names another origin than this page's. */
export class OriginNotAllowedError extends KV500Error {
  constructor(origin: string);
  readonly code: 'origin-not-allowed';
  /** This page's, as AllowOrigin has to name it. */
  readonly origin: string;
}

/** The service closed the connection without an answer, each time. */
export class NoAnswerError extends KV500Error {
  constructor(tries: number, cause?: unknown);
  readonly code: 'no-answer';
  readonly tries: number;
}

/** Characters on the card broke the JSON. */
export class BrokenJsonError extends KV500Error {
  constructor(text: string, cause?: unknown);
  readonly code: 'broken-json';
  /** The answer as it came. */
  readonly text: string;
}

/** Another program answers at the address. */
export class ForeignAnswerError extends KV500Error {
  constructor(address: string, text: string, cause?: unknown);
  readonly code: 'foreign-answer';
  readonly address: string;
  /** What it said: at most some megabyte, and nothing where it was no HTTP. */
  readonly text: string;
}

/** The service answered with the status "ERROR". */
export class ActionError extends KV500Error {
  constructor(answer: ErrorAnswer);
  readonly code: 'action-failed';
  readonly action: 'read' | 'close';
  readonly answer: ErrorAnswer;
}

/** The card is no health card. Told by onPatient alone; `read` gives no `daten` for it. */
export class OtherCardError extends KV500Error {
  constructor();
  readonly code: 'other-card';
}

/** No whole answer in time. */
export class TimeoutError extends KV500Error {
  constructor(milliseconds: number);
  readonly code: 'timeout';
  readonly milliseconds: number;
}

/** The caller's AbortSignal ended the call; `cause` is the signal's reason. */
export class AbortedError extends KV500Error {
  constructor(cause?: unknown);
  readonly code: 'aborted';
}

/** The address that the client was given is none. */
export class BadAddressError extends KV500Error {
  constructor(address: string);
  readonly code: 'bad-address';
  readonly address: string;
}

export type Failure =
  | ServiceNotRunningError
  | PermissionDeniedError
  | PermissionNotAskedError
  | InsecurePageError
  | OriginNotAllowedError
  | NoAnswerError
  | BrokenJsonError
  | ForeignAnswerError
  | ActionError
  | OtherCardError
  | TimeoutError
  | AbortedError
  | BadAddressError;

export type ErrorCode = Failure['code'];
