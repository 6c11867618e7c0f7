// What the collector tells of an upload.

export interface Given {
    status: number;
    body: string;
    bodyBytes: number;
    delay: number;
    close: boolean;
    source: "script" | "misbehaviour" | "collector";
    milliseconds: number;
}

export interface Exchange {
    number: number;
    arrived: number;
    arrivedText: string;
    path: string;
    headers: [string, string][];
    bytes: { gzip: number; encoded: number; json: number };
    json: string | null;
    refusal: string | null;
    bodyStart: string;
    given: Given | null;
}

export interface Misbehaviour {
    times: number;
    status: number;
    body: string;
    delay: number;
    close: boolean;
}

export interface CollectorState {
    first: number;
    last: number;
    misbehaviour: Misbehaviour | null;
    limits: { exchanges: number; bytes: number };
}
