// Times that cannot be: days that the calendar does not have, and an order of events that no device can have seen. A
// device's clock may be ahead of the collector's: that is told, and is no problem of the document.

import type { Problem } from "./problems.ts";

/** So far ahead, in seconds, a device's clock is not worth a word. */
const clockTolerance = 120;

const isoDate = /^(\d{4})-(\d\d)-(\d\d)T(\d\d):(\d\d):(\d\d)(Z|[+-]\d\d:\d\d)$/;

/** Seconds since 1970; null for a day that does not exist, undefined for a text that is no date. */
export function secondsOf(value: unknown): number | null | undefined {
    if (typeof value !== "string") return undefined;
    const match = isoDate.exec(value);
    if (!match) return undefined;
    const [year = 0, month = 0, day = 0] = match.slice(1, 4).map(Number);
    const civil = new Date(Date.UTC(year, month - 1, day));
    if (civil.getUTCMonth() !== month - 1 || civil.getUTCDate() !== day) return null;
    const milliseconds = Date.parse(value.replace(/:60([Z+-])/, ":59$1"));
    return Number.isNaN(milliseconds) ? null : milliseconds / 1000;
}

type Fields = Record<string, unknown>;

const fieldsOf = (value: unknown): Fields | undefined =>
    typeof value === "object" && value !== null && !Array.isArray(value) ? (value as Fields) : undefined;

function spanText(seconds: number): string {
    const steps: [number, string][] = [[86400, "day"], [3600, "hour"], [60, "minute"], [1, "second"]];
    for (const [length, name] of steps) {
        const count = Math.round(seconds / length);
        if (seconds >= length) return `${count} ${name}${count === 1 ? "" : "s"}`;
    }
    return "less than a second";
}

class Timeline {
    readonly problems: Problem[] = [];
    latest = -Infinity;

    private add(path: string, text: string) {
        this.problems.push({ kind: "time", path, text });
    }

    moment(seconds: unknown): number | undefined {
        if (typeof seconds !== "number") return undefined;
        this.latest = Math.max(this.latest, seconds);
        return seconds;
    }

    /** The moment that a member holds, if it is one; a problem when it cannot be. */
    date(fields: Fields, key: string, path: string): number | undefined {
        const seconds = secondsOf(fields[key]);
        if (seconds === null) this.add(path, "is a day or time that does not exist");
        return this.moment(seconds);
    }

    inOrder(earlier: number | undefined, later: number | undefined, path: string, text: string) {
        // One second: some are whole seconds, cut off or rounded.
        if (earlier !== undefined && later !== undefined && later < earlier - 1) this.add(path, `${text}, by ${spanText(earlier - later)}`);
    }
}

export interface Times {
    problems: Problem[];
    /** What the device's clock says about itself. */
    clock: string | undefined;
}

function clockText(latest: number, arrived: number): string | undefined {
    const ahead = latest - arrived;
    return ahead > clockTolerance ? `The device's clock is ahead: the latest time is ${spanText(ahead)} later than the arrival.` : undefined;
}

export function timesOf(document: unknown, arrived: number): Times {
    const sections = fieldsOf(document) ?? {};
    const session = fieldsOf(sections.session) ?? {};
    const timeline = new Timeline();

    const created = timeline.moment(session.create_time);
    const installed = timeline.date(session, "install_date", "/session/install_date");
    const visit = timeline.date(session, "visit_time", "/session/visit_time");
    timeline.date(session, "source_click_time", "/session/source_click_time");
    timeline.moment(session.source_update_time);
    timeline.inOrder(installed, visit, "/session/visit_time", "is earlier than the install");
    timeline.inOrder(visit, created, "/session/create_time", "is earlier than the visit");

    for (const section of ["goal", "pages", "click", "revenue"]) {
        const records = Array.isArray(sections[section]) ? (sections[section] as unknown[]) : [];
        records.forEach((record, index) => {
            const path = `/${section}/${index}/visit_time`;
            const made = timeline.date(fieldsOf(record) ?? {}, "visit_time", path);
            timeline.inOrder(installed, made, path, "is earlier than the install");
        });
    }
    const push = fieldsOf(sections.push);
    if (push) timeline.date(push, "visit_time", "/push/visit_time");
    return { problems: timeline.problems, clock: clockText(timeline.latest, arrived) };
}
