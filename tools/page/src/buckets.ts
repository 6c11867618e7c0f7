// Uploads counted over time, for the chart.

import type { Exchange } from "./exchange.ts";

const steps = [1, 2, 5, 10, 30, 60, 120, 300, 600, 1800, 3600, 7200, 21600, 86400];
const shortestSpan = 60;
const mostBuckets = 60;

export interface Buckets {
    /** Each bucket's begin, in seconds since 1970. */
    times: number[];
    documents: number[];
    wrong: number[];
    bytes: number[];
    /** Of a bucket, in seconds. */
    step: number;
}

export interface Counted {
    exchange: Exchange;
    problems: unknown[];
}

export function bucketsOf(uploads: Counted[], now: number): Buckets {
    const arrivals = uploads.map(({ exchange }) => exchange.arrived);
    const end = Math.max(now, ...arrivals);
    const begin = Math.min(end - shortestSpan, ...arrivals);
    const step = steps.find((each) => (end - begin) / each <= mostBuckets) ?? 86400 * Math.ceil((end - begin) / mostBuckets / 86400);
    const first = Math.floor(begin / step);
    // One more, so that the latest bar has its whole width.
    const count = Math.floor(end / step) - first + 2;
    const zeros = () => new Array<number>(count).fill(0);
    const buckets = { times: zeros().map((_, index) => (first + index) * step), documents: zeros(), wrong: zeros(), bytes: zeros(), step };
    for (const { exchange, problems } of uploads) {
        const index = Math.floor(exchange.arrived / step) - first;
        buckets.documents[index]! += 1;
        buckets.wrong[index]! += problems.length > 0 ? 1 : 0;
        buckets.bytes[index]! += exchange.bytes.gzip;
    }
    return buckets;
}
