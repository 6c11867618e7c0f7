/** Made by build.mjs from docs/upload.schema.json. */
declare module "compiled-schema" {
    export interface SchemaError {
        instancePath: string;
        schemaPath: string;
        keyword: string;
        params: Record<string, unknown>;
        message?: string;
    }
    interface Validate {
        (value: unknown): boolean;
        errors?: SchemaError[] | null;
    }
    export const validateDocument: Validate;
    export const validateReply: Validate;
}
