// Numbers and times for people.

const units = ["B", "kB", "MB", "GB"];

export function bytesText(bytes: number): string {
    let value = bytes;
    let unit = 0;
    while (value >= 1000 && unit < units.length - 1) {
        value /= 1000;
        unit += 1;
    }
    return `${unit === 0 || value >= 100 ? Math.round(value) : value.toFixed(1)} ${units[unit]}`;
}

export function countText(count: number, name: string, plural = `${name}s`): string {
    return `${count.toLocaleString("en")} ${count === 1 ? name : plural}`;
}

/** "14:03:09" of "2026-11-21T14:03:09+01:00": the collector's local time. */
export function timeOfDay(date: string): string {
    return date.slice(11, 19);
}

export function momentText(seconds: number): string {
    return `${new Date(seconds * 1000).toISOString().replace("T", " ").replace(/\.?0*Z$/, "")} UTC`;
}
