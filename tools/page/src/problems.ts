// What is wrong with an upload.

import type { Exchange } from "./exchange.ts";
import { documentProblems } from "./schema.ts";
import { timeProblems } from "./times.ts";

export type ProblemKind = "decoding" | "schema" | "missing" | "time";

export interface Problem {
    kind: ProblemKind;
    /** The place in the document as a JSON pointer; empty for the whole. */
    path: string;
    text: string;
}

export const problemNames: Record<ProblemKind, string> = {
    decoding: "decoding",
    schema: "schema",
    missing: "missing key",
    time: "impossible time",
};

/** Whether more is wrong than times, which a device's clock explains. */
export const isBroken = (problems: Problem[]) => problems.some(({ kind }) => kind !== "time");

export function problemsOf(exchange: Exchange, document: unknown): Problem[] {
    if (exchange.refusal !== null) return [{ kind: "decoding", path: "", text: exchange.refusal }];
    if (document === undefined) return [];
    return [...documentProblems(document), ...timeProblems(document, exchange.arrived)];
}
