// Times that cannot be: days that the calendar does not have, and an order of events that no device can have seen.

import type { Problem } from "./problems.ts";

/** How far the clocks of device and collector may differ, in seconds. */
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
    private isClockAhead = false;

    constructor(private readonly arrived: number) {}

    private add(path: string, text: string) {
        this.problems.push({ kind: "time", path, text });
    }

    /** When the document was made. A device whose clock is ahead is told once, not for each of its times. */
    created(seconds: number, path: string): number {
        const ahead = seconds - this.arrived;
        this.isClockAhead = ahead > clockTolerance;
        if (this.isClockAhead) this.add(path, `is ${spanText(ahead)} later than the arrival: the device's clock is ahead`);
        return seconds;
    }

    moment(seconds: number, path: string): number {
        const ahead = seconds - this.arrived;
        if (ahead > clockTolerance && !this.isClockAhead) this.add(path, `is ${spanText(ahead)} later than the arrival`);
        return seconds;
    }

    /** The moment that a member holds, if it is one; a problem when it cannot be. */
    date(fields: Fields, key: string, path: string): number | undefined {
        const seconds = secondsOf(fields[key]);
        if (seconds === null) this.add(path, "is a day or time that does not exist");
        return seconds === undefined || seconds === null ? undefined : this.moment(seconds, path);
    }

    inOrder(earlier: number | undefined, later: number | undefined, path: string, text: string) {
        // One second: some are whole seconds, cut off or rounded.
        if (earlier !== undefined && later !== undefined && later < earlier - 1) this.add(path, `${text}, by ${spanText(earlier - later)}`);
    }
}

export function timeProblems(document: unknown, arrived: number): Problem[] {
    const sections = fieldsOf(document) ?? {};
    const session = fieldsOf(sections.session) ?? {};
    const timeline = new Timeline(arrived);

    const created = typeof session.create_time === "number" ? timeline.created(session.create_time, "/session/create_time") : undefined;
    const installed = timeline.date(session, "install_date", "/session/install_date");
    const visit = timeline.date(session, "visit_time", "/session/visit_time");
    timeline.date(session, "source_click_time", "/session/source_click_time");
    if (typeof session.source_update_time === "number") timeline.moment(session.source_update_time, "/session/source_update_time");
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
    return timeline.problems;
}
