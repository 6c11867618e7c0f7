// An upload with what the page has found out about it.

import type { Exchange } from "./exchange.ts";
import { isObject, type Json, numberIn, parseFaithfully } from "./json.ts";
import { type Findings, findingsOf } from "./problems.ts";

export const recordSections = ["goal", "pages", "click", "revenue", "push"] as const;
export type RecordSection = (typeof recordSections)[number];

export interface Examined extends Findings {
    exchange: Exchange;
    document: Json | undefined;
    /** Sections with records, and how many. */
    records: Map<RecordSection, number>;
    title: string;
    isImmediate: boolean;
    searched: string;
}

function recordsIn(document: Json | undefined): Map<RecordSection, number> {
    const records = new Map<RecordSection, number>();
    if (!isObject(document)) return records;
    for (const section of recordSections) {
        const value = document[section];
        const count = Array.isArray(value) ? value.length : isObject(value) ? 1 : 0;
        if (count > 0) records.set(section, count);
    }
    return records;
}

function titleOf(exchange: Exchange, document: Json | undefined, isImmediate: boolean): string {
    if (exchange.refusal !== null) return "Not decoded";
    if (!isObject(document)) return "Too long to show";
    if (isImmediate) return "Immediate upload";
    const session = isObject(document.session) ? document.session : {};
    const visit = numberIn(session.slot_no);
    const attempt = numberIn(document.retry_count) ?? 1;
    const name = visit === undefined ? "Document" : `Visit ${visit}`;
    const kind = session.visit_new === "Y" ? " begins" : session.visit_new === "N" ? " goes on" : "";
    return `${name}${kind}${attempt > 1 ? `, attempt ${attempt}` : ""}`;
}

export function examine(exchange: Exchange): Examined {
    let document: Json | undefined;
    let plain: unknown;
    if (exchange.json !== null) {
        document = parseFaithfully(exchange.json);
        plain = JSON.parse(exchange.json);
    }
    const isImmediate = isObject(document) && Object.keys(document).length === 2 && "session" in document;
    const headers = exchange.headers.map(([name, value]) => `${name}: ${value}`).join("\n");
    return {
        exchange,
        document,
        records: recordsIn(document),
        title: titleOf(exchange, document, isImmediate),
        isImmediate,
        ...findingsOf(exchange, plain),
        searched: `${exchange.path}\n${headers}\n${exchange.refusal ?? ""}\n${exchange.json ?? ""}`.toLowerCase(),
    };
}
