// The collector, as the page knows it: its stream of changes, and what can be asked of it.

import { examine, type Examined } from "./examined.ts";
import type { CollectorState, Exchange, Misbehaviour } from "./exchange.ts";

export interface Knowledge {
    isConnected: boolean;
    /** Newest first. */
    exchanges: Examined[];
    /** How many uploads the collector has taken since its start. */
    total: number;
    misbehaviour: Misbehaviour | null;
}

const nothing: Knowledge = { isConnected: false, exchanges: [], total: 0, misbehaviour: null };

/** In milliseconds. */
const retryDelay = 2000;

/** Follows the stream and reports each state of knowledge, at most one for each frame of the screen. */
export class Collector {
    private knowledge = nothing;
    private readonly byNumber = new Map<number, Examined>();
    private series = "";
    private stream?: EventSource;
    private lastEventId = "";
    private retry = 0;
    private isScheduled = false;

    constructor(private readonly report: (knowledge: Knowledge) => void) {
        document.addEventListener("visibilitychange", () => this.follow());
        this.follow();
    }

    /** Only while the page is seen: a browser has six connections to a server, which the streams of as many tabs would take. */
    private follow() {
        clearTimeout(this.retry);
        this.stream?.close();
        if (document.visibilityState === "hidden") this.update({ isConnected: false });
        else this.stream = this.open();
    }

    private open(): EventSource {
        const stream = new EventSource(`api/events?after=${encodeURIComponent(this.lastEventId)}`);
        stream.addEventListener("open", () => this.update({ isConnected: true }));
        stream.addEventListener("error", () => {
            this.update({ isConnected: false });
            // After a refusal a browser does not try again by itself.
            if (stream.readyState === EventSource.CLOSED) this.retry = setTimeout(() => this.follow(), retryDelay);
        });
        this.on(stream, "hello", (data: { series: string; state: CollectorState }) => this.greet(data.series, data.state));
        this.on(stream, "exchange", (data: { first: number; exchange: Exchange }) => this.take(data.first, data.exchange));
        this.on(stream, "misbehaviour", (misbehaviour: Misbehaviour | null) => this.update({ misbehaviour }));
        this.on(stream, "cleared", (data: { first: number }) => this.forget(data.first));
        return stream;
    }

    private on<Data>(stream: EventSource, name: string, take: (data: Data) => void) {
        stream.addEventListener(name, (event) => {
            const { data, lastEventId } = event as MessageEvent<string>;
            this.lastEventId = lastEventId || this.lastEventId;
            take(JSON.parse(data) as Data);
        });
    }

    private greet(series: string, state: CollectorState) {
        // Another collector on the same port numbers its uploads from 1 again.
        if (series !== this.series) this.byNumber.clear();
        this.series = series;
        this.forget(state.first);
        this.update({ isConnected: true, misbehaviour: state.misbehaviour, total: state.last });
    }

    private take(first: number, exchange: Exchange) {
        const known = this.byNumber.get(exchange.number);
        // The answer is all that changes later.
        this.byNumber.set(exchange.number, known ? { ...known, exchange } : examine(exchange));
        this.forget(first);
        this.update({ total: Math.max(this.knowledge.total, exchange.number) });
    }

    private forget(first: number) {
        for (const number of this.byNumber.keys()) {
            if (number < first) this.byNumber.delete(number);
        }
        this.update({});
    }

    private update(change: Partial<Knowledge>) {
        this.knowledge = { ...this.knowledge, ...change };
        if (this.isScheduled) return;
        this.isScheduled = true;
        requestAnimationFrame(() => {
            this.isScheduled = false;
            const newestFirst = [...this.byNumber.values()].sort((one, other) => other.exchange.number - one.exchange.number);
            this.knowledge = { ...this.knowledge, exchanges: newestFirst };
            this.report(this.knowledge);
        });
    }
}

/** Asks for something; raises an error with the collector's own words when it refuses. */
async function ask(method: string, path: string, body?: unknown): Promise<void> {
    const answer = await fetch(path, { method, body: body === undefined ? undefined : JSON.stringify(body) });
    const text = await answer.text();
    if (!answer.ok) throw new Error(text.trim() || `status ${answer.status}`);
}

export interface Wish {
    times: number;
    status?: number;
    body?: unknown;
    delay?: number;
    close?: boolean;
}

export const misbehave = (wish: Wish) => ask("PUT", "api/misbehaviour", wish);
export const behave = () => ask("DELETE", "api/misbehaviour");
export const clearExchanges = () => ask("DELETE", "api/exchanges");
