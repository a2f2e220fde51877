export type Options = {
    port?: number;
    allowOrigin?: string;
    serialNumber?: string;
};
export type Action = 'status' | 'read' | 'close';
export type CardObject = {
    AllgemeineVersicherungsdaten?: object;
    PersoenlicheVersicherungsdaten?: object;
};
export type CardXml = {
    VD: string | Uint8Array;
    PD: string | Uint8Array;
};
export type Card = CardObject | CardXml | 'other' | 'damaged';
export type Failure = 'close' | 'stall' | 'cut' | 'foreign';
export declare class FakeService {
    #private;
    /**
     * How many requests were answered or failed, by action.
     * @type {Record<string, number>}
     */
    requests: Record<string, number>;
    /**
     * A service that answers.
     * @param {Options} [options]
     */
    static start(options?: Options): Promise<FakeService>;
    /** @param {Options} [options] */
    constructor({ port, allowOrigin, serialNumber }?: Options);
    get port(): number;
    get address(): string;
    /** Opens the port; after a stop the same one again, with reader and card as they were. */
    start(): Promise<void>;
    /** Closes the port and all connections. */
    stop(): Promise<void>;
    /**
     * Puts a card in, in place of the one that is in.
     * @param {Card} card
     */
    insert(card: Card): void;
    /** Takes the card out. */
    remove(): void;
    /** One more reader; the service uses one that is alone. */
    plug(): void;
    /** The newest reader goes, and with the last one its card. */
    unplug(): void;
    /**
     * Each answer of the action, or of all, takes that much longer.
     * @param {number} milliseconds
     * @param {Action} [action]
     */
    delay(milliseconds: number, action?: Action): void;
    /**
     * Lets the next requests fail.
     * @param {Failure} failure
     * @param {{ action?: Action, times?: number }} [which]
     */
    fail(failure: Failure, { action, times }?: {
        action?: Action;
        times?: number;
    }): void;
    /** Ends all delays and failures. */
    heal(): void;
    /**
     * What `AllowOrigin` says.
     * @param {string} origin
     */
    allow(origin: string): void;
}
