// What is wrong with an upload.

import type { Exchange } from "./exchange.ts";
import { documentProblems } from "./schema.ts";
import { timesOf } from "./times.ts";

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

/** Whether more is wrong than times, which a clock that was set meanwhile explains. */
export const isBroken = (problems: Problem[]) => problems.some(({ kind }) => kind !== "time");

export interface Findings {
    problems: Problem[];
    /** What is worth knowing and no problem. */
    remark: string | undefined;
}

export function findingsOf(exchange: Exchange, document: unknown): Findings {
    if (exchange.refusal !== null) return { problems: [{ kind: "decoding", path: "", text: exchange.refusal }], remark: undefined };
    if (document === undefined) return { problems: [], remark: undefined };
    const times = timesOf(document, exchange.arrived);
    return { problems: [...documentProblems(document), ...times.problems], remark: times.clock };
}
